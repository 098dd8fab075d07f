// SPDX-License-Identifier: MIT
// A room that a page has opened: what happens in it, and the agent that works in it.
#pragma once

#include "devserver/server/EventFeed.h"
#include "devserver/session/DocumentSigning.h"
#include "devserver/session/MessageObserver.h"
#include "devserver/session/SessionDriver.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace devserver {

struct SigningOrder {
    std::string name; // of the file
    DocumentOrder document;
};

struct SignedFile {
    std::string name;
    DocumentKind kind = DocumentKind::pdf;
    std::string bytes;
};

/// Used from any thread; nothing blocks but the end. What happens is told by the feed: "agent",
/// "diagnostics", "certificates", "message", "progress", "signed", "damaged" (a PDF that can be
/// signed once it is written anew) and "problem".
class Room final : private MessageObserver {
public:
    /// `note` gets a line for each thing of interest, and each message folded.
    using Note = std::function<void(const std::string&)>;

    Room(std::string id, Note note);
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
    ~Room() override { end(); }
    /// An agent that is in it is told to end, and waited for: not on the server's thread, unless
    /// nobody is in. Once is enough.
    void end();

    const std::string& id() const { return m_id; }
    const std::shared_ptr<EventFeed>& feed() const { return m_feed; }

    /// False when another agent is in the room. One that is about to leave is waited for, a little:
    /// an agent that takes the same link again drops its old connection for the new one.
    bool join(std::shared_ptr<AgentSession> agent);
    /// Why it cannot be done now; nothing when it is under way.
    std::optional<std::string> sign(SigningOrder order);
    std::optional<std::string> listAgain();
    /// Has the agent end; its connection is cut when it does not, after a little.
    std::optional<std::string> endSession();
    /// Lets nobody in any more, if nobody is in; whether it is so.
    bool closeWhenEmpty();
    void tellProblem(const std::string& text);

    /// A file signed here, by its number; null when it is not kept (any more).
    std::shared_ptr<const SignedFile> signedFile(std::size_t number) const;

private:
    void sent(std::string_view envelope) override;
    void received(std::string_view envelope) override;

    void run();
    void serve(const std::shared_ptr<AgentSession>& agent);
    bool begin(SessionDriver& driver);
    bool list(SessionDriver& driver);
    void carryOut(SessionDriver& driver, SigningOrder order);
    bool isRefused(SigningOrder& order);
    std::optional<std::string> post(std::function<void(SessionDriver&)> work);
    void tellMessage(const char* direction, std::string_view envelope);

    const std::string m_id;
    const Note m_note;
    const std::shared_ptr<EventFeed> m_feed = std::make_shared<EventFeed>();

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::shared_ptr<AgentSession> m_agent;
    bool m_isReady = false; // the agent has been greeted and nothing is under way
    std::function<void(SessionDriver&)> m_work;
    std::deque<std::shared_ptr<const SignedFile>> m_files;
    std::size_t m_lastFile = 0;
    bool m_isEnding = false;
    std::thread m_ending; // waits until an agent that was told to end has left
    const AgentSession* m_endingAgent = nullptr; // which it waits for
    std::thread m_thread; // the last member: it uses all others
};

} // namespace devserver
