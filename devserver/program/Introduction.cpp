// SPDX-License-Identifier: MIT
#include "devserver/program/Introduction.h"

#include "devserver/session/AgentCommand.h"

namespace devserver {

std::string pageAddress(const Server& server) {
    return "https://localhost:" + std::to_string(server.port()) + "/";
}

std::string introductionOf(
    const Server& server, const std::string& authorityFile, const std::string& trust) {
    const std::string file = shellQuoted(authorityFile);
    return "page       " + pageAddress(server) + "\nauthority  " + authorityFile
        + "\n\n"
          "The server has a certificate authority of its own, for this machine alone. To have it\n"
          "trusted by the agent, Chromium and Firefox:\n  "
        + trust
        + "\n"
          "It says first what it does; with \"untrust\" it is undone. By hand it is:\n"
          "  Chromium, Chrome   mkdir -p -m 700 $HOME/.pki/nssdb\n"
          "                     [ -e $HOME/.pki/nssdb/cert9.db ] || certutil -N -d "
          "sql:$HOME/.pki/nssdb --empty-password\n"
          "                     certutil -A -d sql:$HOME/.pki/nssdb -n quillet-devserver -t C,, -i "
        + file
        + "\n"
          "  Firefox            Settings, Certificates, View Certificates, Authorities, Import\n"
          "  the whole system   sudo cp "
        + file
        + " /usr/local/share/ca-certificates/quillet-devserver.crt\n"
          "                     sudo update-ca-certificates\n"
          "  one agent          the command that the page shows, with SSL_CERT_FILE\n"
          "Without that a browser warns of the page, and an agent refuses the server.\n\n";
}

std::string introductionOfRoom(
    const Server& server, const std::string& authorityFile, const std::string& room) {
    const std::string link = server.link(room);
    return "authority  " + authorityFile + "\nlink       " + link + "\nagent      "
        + agentCommand(authorityFile, link) + "\n\n";
}

} // namespace devserver
