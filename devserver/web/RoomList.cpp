// SPDX-License-Identifier: MIT
#include "devserver/web/RoomList.h"

#include "devserver/server/RequestOrigin.h"
#include "devserver/server/RequestTarget.h"
#include "devserver/session/AgentCommand.h"
#include "devserver/session/RoomId.h"
#include "devserver/web/StaticFiles.h"
#include "foundation/PercentEncoding.h"

#include <algorithm>
#include <charconv>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

namespace devserver {

namespace json = boost::json;

namespace {

constexpr std::size_t mostRooms = 32;

const HttpHeaders jsonHeaders = {{"Content-Type", "application/json"},
    {"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}};

HttpAnswer jsonAnswer(unsigned status, const json::object& body) {
    return {status, json::serialize(body), jsonHeaders};
}

HttpAnswer problem(unsigned status, const std::string& text) {
    return jsonAnswer(status, {{"status", status}, {"message", text}});
}

/// The answer to an order: accepted, or refused with the reason.
HttpAnswer orderAnswer(const std::optional<std::string>& reason) {
    return reason ? problem(409, *reason) : jsonAnswer(202, {});
}

/// The file's name without folders, quotes and control characters.
std::string safeName(const std::string& name) {
    std::string safe = name.substr(name.find_last_of("/\\") + 1);
    std::erase_if(safe, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == '"'; });
    return safe.empty() ? "document" : safe;
}

HttpAnswer download(const SignedFile& file) {
    const char* const type = file.kind == DocumentKind::pdf ? "application/pdf" : "application/xml";
    return {200, file.bytes,
        {{"Content-Type", type}, {"Cache-Control", "no-store"},
            {"X-Content-Type-Options", "nosniff"},
            {"Content-Disposition", "attachment; filename*=UTF-8''" + percentEncoded(file.name)}}};
}

DocumentKind kindOf(const std::string& name, const std::string& document) {
    const auto endsWith = [&](std::string_view ending) {
        return name.size() >= ending.size()
            && std::equal(ending.begin(), ending.end(), name.end() - std::ssize(ending),
                [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
    };
    if (endsWith(".pdf") || endsWith(".xml")) {
        return endsWith(".pdf") ? DocumentKind::pdf : DocumentKind::xml;
    }
    return document.starts_with("%PDF-") ? DocumentKind::pdf : DocumentKind::xml;
}

} // namespace

RoomList::RoomList(
    const Server& server, std::string authorityFile, std::string trustCommand, Room::Note note)
    : m_server(server)
    , m_authorityFile(std::move(authorityFile))
    , m_trustCommand(std::move(trustCommand))
    , m_note(std::move(note)) {
}

RoomList::~RoomList() = default;

WebAnswer RoomList::answer(const RecordedRequest& request, std::string body) {
    const RequestTarget target = RequestTarget::of(request.target);
    if (request.method == "GET") {
        if (const std::optional<HttpAnswer> file = staticFile(target.path)) {
            return *file;
        }
        if (target.path == "/authority.pem") {
            return HttpAnswer{200, m_server.authorityPem(),
                {{"Content-Type", "application/x-pem-file"}, {"Cache-Control", "no-store"},
                    {"X-Content-Type-Options", "nosniff"},
                    {"Content-Disposition", "attachment; filename=quillet-devserver.pem"}}};
        }
    } else if (request.method != "POST") {
        return problem(405, "Method not allowed");
    } else if (!isFromHere(request)) {
        return problem(403, "The request comes from another page");
    }
    if (request.method == "POST" && target.path == "/rooms") {
        return openRoom();
    }
    constexpr std::string_view prefix = "/rooms/";
    if (!target.path.starts_with(prefix)) {
        return problem(404, "Not found");
    }
    const std::string_view rest = target.path.substr(prefix.size());
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    const std::shared_ptr<Room> room = find(std::string(rest.substr(0, slash)));
    if (!room) {
        return problem(404, "There is no such room (any more)");
    }
    return answerInRoom(
        *room, request, request.method + std::string(rest.substr(slash)), std::move(body));
}

HttpAnswer RoomList::tooLarge() const {
    return problem(413, tooLargeText(largestSent));
}

HttpAnswer RoomList::openRoom() {
    const auto room = std::make_shared<Room>(newRoomId(), m_note);
    const std::lock_guard lock(m_mutex);
    if (m_rooms.size() >= mostRooms) {
        const auto unused = std::find_if(m_rooms.begin(), m_rooms.end(),
            [](const auto& entry) { return entry->closeWhenEmpty(); });
        if (unused == m_rooms.end()) {
            return problem(503, "Too many sessions are open");
        }
        m_rooms.erase(unused);
    }
    m_rooms.push_back(room);
    const std::string link = m_server.link(room->id());
    m_note("room " + room->id() + " was opened");
    return jsonAnswer(201,
        {{"room", room->id()}, {"code", roomCode(room->id())}, {"link", link},
            {"command", agentCommand(m_authorityFile, link)}, {"trust", m_trustCommand}});
}

WebAnswer RoomList::answerInRoom(
    Room& room, const RecordedRequest& request, const std::string& action, std::string body) {
    const RequestTarget target = RequestTarget::of(request.target);
    constexpr std::string_view signedPrefix = "GET/signed/";
    if (action == "GET") {
        return jsonAnswer(200, {});
    }
    if (action == "GET/events") {
        std::size_t position = 0;
        if (const std::string* last = request.header("Last-Event-ID")) {
            std::from_chars(last->data(), last->data() + last->size(), position);
        }
        return EventAnswer{room.feed(), position};
    }
    if (action == "POST/sign") {
        const std::optional<std::string> digest = target.queryValue("certificate");
        if (!digest || digest->empty()) {
            return problem(400, "No certificate is chosen");
        }
        const std::string name = safeName(target.queryValue("name").value_or("document"));
        const DocumentKind kind = kindOf(name, body);
        const bool isSent = target.queryValue("send") == "yes";
        const bool isRepaired = target.queryValue("repair") == "yes";
        return orderAnswer(room.sign({name, {kind, *digest, std::move(body), isSent, isRepaired}}));
    }
    if (action == "POST/certificates") {
        return orderAnswer(room.listAgain());
    }
    if (action == "POST/end") {
        return orderAnswer(room.endSession());
    }
    if (action.starts_with(signedPrefix)) {
        std::size_t number = 0;
        const std::string text = action.substr(signedPrefix.size());
        std::from_chars(text.data(), text.data() + text.size(), number);
        const std::shared_ptr<const SignedFile> file = room.signedFile(number);
        return file ? download(*file) : problem(404, "The file is not kept any more");
    }
    return problem(404, "Not found");
}

std::shared_ptr<Room> RoomList::find(const std::string& id) const {
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(
        m_rooms.begin(), m_rooms.end(), [&](const auto& room) { return room->id() == id; });
    return found != m_rooms.end() ? *found : nullptr;
}

std::optional<Refusal> RoomList::admit(const std::shared_ptr<AgentSession>& agent) {
    const std::shared_ptr<Room> room = find(agent->room());
    if (!room) {
        const std::string text = "An agent asked for the room \"" + shownText(agent->room())
            + "\", which does not exist, and was turned away. Use the link of this page.";
        const std::lock_guard lock(m_mutex);
        for (const std::shared_ptr<Room>& open : m_rooms) {
            open->tellProblem(text);
        }
        if (m_rooms.empty()) {
            m_note(text);
        }
        return Refusal::unknownRoom(agent->room());
    }
    if (!room->join(agent)) {
        room->tellProblem("A second agent asked for this room and was turned away.");
        return Refusal::occupiedRoom();
    }
    return std::nullopt;
}

void RoomList::endAll() {
    std::list<std::shared_ptr<Room>> rooms;
    {
        const std::lock_guard lock(m_mutex);
        rooms.swap(m_rooms);
    }
    // A request may still hold one of them on the server's thread, which must not wait.
    for (const std::shared_ptr<Room>& room : rooms) {
        room->end();
    }
}

} // namespace devserver
