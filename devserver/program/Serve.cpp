// SPDX-License-Identifier: MIT
#include "devserver/program/Serve.h"

#include "devserver/program/Browser.h"
#include "devserver/program/Files.h"
#include "devserver/program/Introduction.h"
#include "devserver/program/MessageLog.h"
#include "devserver/program/StopSignal.h"
#include "devserver/program/TrustCommand.h"
#include "devserver/server/Server.h"
#include "devserver/session/Doorkeeper.h"
#include "devserver/web/RoomList.h"

#include <filesystem>

namespace devserver {

int runServe(const ServeOptions& options, int stop, std::ostream& out, std::ostream& err) {
    const std::string folder
        = options.authorityFolder.empty() ? dataFolder() : options.authorityFolder;
    Server server({.port = options.port, .authorityFolder = folder});
    std::optional<std::string> error;
    if (folder.empty()) {
        error = "there is no folder to keep the authority in; name one with --authority";
    } else {
        error = server.start();
    }
    if (error) {
        err << "quillet-devserver: " << *error << '\n';
        return 1;
    }
    const std::string authority
        = std::filesystem::absolute(CertificateAuthority::fileIn(folder)).string();
    const std::string trust = trustCommand(options.authorityFolder);
    MessageLog log(out);
    const auto rooms = std::make_shared<RoomList>(
        server, authority, trust, [&log](const std::string& text) { log.note(text); });
    server.setWebHandler(rooms);
    const Doorkeeper door(server, [&](const auto& agent) { return rooms->admit(agent); });

    out << introductionOf(server, authority, trust) << std::flush;
    if (options.open) {
        if (const std::optional<std::string> reason = openInBrowser(pageAddress(server))) {
            log.note(*reason);
        }
    }
    waitUntilReadable(stop);
    rooms->endAll();
    return 0;
}

} // namespace devserver
