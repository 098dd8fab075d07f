// SPDX-License-Identifier: MIT
// The web side of the signing server: the page's files, and the rooms that pages open.
//
//   GET  /, /page.css, /page.js
//   POST /rooms                        {"room", "link", "command"}
//   GET  /rooms/ID                     whether it is there
//   GET  /rooms/ID/events              server-sent events, see Room
//   POST /rooms/ID/sign?certificate=DIGEST&name=FILE[&send=yes][&repair=yes]
//                                      the body is the document, which is sent to the agent too, or
//                                      written anew if it is damaged, when asked for
//   POST /rooms/ID/certificates        lists them again
//   POST /rooms/ID/end                 has the agent end
//   GET  /rooms/ID/signed/NUMBER       a signed file
//
// An error is {"status", "message"}.
#pragma once

#include "devserver/server/Server.h"
#include "devserver/session/Doorkeeper.h"
#include "devserver/web/Room.h"

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace devserver {

class RoomList final : public WebHandler {
public:
    /// `authorityFile` is named in the command that starts an agent; `trustCommand` has the
    /// authority trusted. The server outlives the list.
    RoomList(
        const Server& server, std::string authorityFile, std::string trustCommand, Room::Note note);
    ~RoomList() override;

    WebAnswer answer(const RecordedRequest& request, std::string body) override;
    HttpAnswer tooLarge() const override;
    std::uint64_t bodyLimit() const override { return largestSent; }

    /// Lets an agent into its room, or says why not.
    std::optional<Refusal> admit(const std::shared_ptr<AgentSession>& agent);
    /// Ends every session and waits for it. Not on the server's thread.
    void endAll();

private:
    HttpAnswer openRoom();
    WebAnswer answerInRoom(
        Room& room, const RecordedRequest& request, const std::string& action, std::string body);
    std::shared_ptr<Room> find(const std::string& id) const;

    const Server& m_server;
    const std::string m_authorityFile;
    const std::string m_trustCommand;
    const Room::Note m_note;
    mutable std::mutex m_mutex;
    std::list<std::shared_ptr<Room>> m_rooms; // the newest last
};

} // namespace devserver
