// SPDX-License-Identifier: MIT
// What a connection does by itself as time passes.
#include "tests/platform-shared/MessageNetworkTest.h"

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds moment{1};
const std::vector<std::string> noAnswer{"the server did not answer in time"};
const std::vector<std::string> silent{"the server has been silent for too long"};

class MessageTimersTest : public MessageNetworkTest { };

TEST_F(MessageTimersTest, OpeningHasALimit) {
    open();
    advance(seconds(60) - moment);
    EXPECT_FALSE(hasEnded());
    advance(moment);
    EXPECT_EQ(m_delegate->reasons, noAnswer);
    EXPECT_TRUE(hasEnded());
}

TEST_F(MessageTimersTest, OpenConnectionMayBeIdle) {
    openAndAccept();
    advance(hours(48));
    EXPECT_FALSE(hasEnded());
    EXPECT_TRUE(task().calls.empty());
}

TEST_F(MessageTimersTest, TimersThatAreSetEarlyCountFromTheOpening) {
    open();
    setTimers({.silenceLimit = seconds(10)});
    advance(seconds(59));
    task().delegate->taskDidOpen("");
    runAll();
    advance(seconds(10) - moment);
    EXPECT_FALSE(hasEnded());
    advance(moment);
    EXPECT_EQ(m_delegate->reasons, silent);
}

TEST_F(MessageTimersTest, ClosingHasALimitOnceAllHasBeenSent) {
    openAndAccept();
    send("text");
    m_socket->close();
    advance(hours(1));
    EXPECT_FALSE(hasEnded());
    didSend();
    advance(seconds(2) - moment);
    EXPECT_FALSE(hasEnded());
    m_socket->close(); // does not begin anew
    m_socket->setTimers({});
    advance(moment);
    EXPECT_TRUE(hasEnded());
}

TEST_F(MessageTimersTest, ClosingDoesNotWaitForTheProgram) {
    openAndAccept();
    arrive("not taken");
    m_socket->close();
    m_queue.advance(seconds(2));
    EXPECT_TRUE(hasEnded());
}

TEST_F(MessageTimersTest, BeatGoesOutWhenNothingElseDid) {
    openAndAccept();
    setTimers({.beatInterval = seconds(8)});
    advance(seconds(8) - moment);
    EXPECT_TRUE(task().calls.empty());
    advance(moment);
    EXPECT_EQ(task().calls, Texts{"send \n"});
    didSend();
    advance(seconds(5));
    send("text");
    didSend();
    advance(seconds(8) - moment);
    EXPECT_EQ(task().calls, (Texts{"send \n", "send text"}));
    advance(moment);
    EXPECT_EQ(task().count("send \n"), 2);
}

TEST_F(MessageTimersTest, NoBeatGoesOutWhileAMessageDoes) {
    openAndAccept();
    setTimers({.beatInterval = seconds(8)});
    send("text");
    advance(hours(1));
    EXPECT_EQ(task().calls, Texts{"send text"});
}

TEST_F(MessageTimersTest, SilentServerIsLost) {
    openAndAccept();
    setTimers({.silenceLimit = seconds(25)});
    advance(seconds(20));
    arrive("\n");
    runAll();
    advance(seconds(25) - moment);
    EXPECT_FALSE(hasEnded());
    advance(moment);
    EXPECT_EQ(m_delegate->reasons, silent);
}

TEST_F(MessageTimersTest, LargeMessageOnItsWayIsNoSilence) {
    openAndAccept();
    setTimers({.silenceLimit = seconds(25)});
    for (int i = 0; i < 100; ++i) {
        task().bytes += 1000;
        advance(seconds(20));
    }
    EXPECT_FALSE(hasEnded());
    advance(seconds(30)); // seen within a tenth of the limit
    EXPECT_TRUE(hasEnded());
}

TEST_F(MessageTimersTest, SilenceIsNotSeenWhereThePlatformDoesNotCount) {
    openAndAccept();
    task().bytes = 0;
    setTimers({.silenceLimit = seconds(25)});
    advance(hours(1));
    EXPECT_FALSE(hasEnded());
}

TEST_F(MessageTimersTest, SilenceDoesNotCountWhileTheProgramIsBusy) {
    openAndAccept();
    setTimers({.silenceLimit = seconds(25), .deadline = seconds(60)});
    arrive("not taken yet");
    m_queue.advance(hours(1));
    EXPECT_FALSE(hasEnded());
    setTimers({.silenceLimit = seconds(25)});
    runAll();
    advance(seconds(25) - moment);
    EXPECT_FALSE(hasEnded());
    advance(seconds(3));
    EXPECT_EQ(m_delegate->reasons, silent);
}

TEST_F(MessageTimersTest, SilenceCountsFromWhenTheProgramHasTakenAll) {
    openAndAccept();
    setTimers({.silenceLimit = seconds(25)});
    arrive("not taken yet");
    m_queue.advance(hours(1));
    runAll();
    advance(seconds(25) - moment);
    EXPECT_FALSE(hasEnded());
    advance(seconds(3));
    EXPECT_EQ(m_delegate->reasons, silent);
}

TEST_F(MessageTimersTest, SilenceCountsFromWhenMessagesAreAskedForAgain) {
    openAndAccept();
    setTimers({.silenceLimit = seconds(25)});
    const std::string answer(std::size_t{64} << 20, 'x');
    for (int i = 0; i < 8; ++i) { // so much is unsent that nothing more is read
        send(answer);
    }
    arrive("the last");
    runAll();
    advance(hours(1));
    EXPECT_FALSE(hasEnded());
    didSend();
    advance(seconds(25) - moment);
    EXPECT_FALSE(hasEnded());
    advance(seconds(3));
    EXPECT_EQ(m_delegate->reasons, silent);
}

TEST_F(MessageTimersTest, TimersSetAnewReplaceTheOldOnes) {
    openAndAccept();
    for (int i = 0; i < 100; ++i) {
        setTimers({.silenceLimit = seconds(25), .deadline = seconds(60)});
    }
    const int before = m_queue.posted();
    advance(seconds(25) - moment);
    EXPECT_LE(m_queue.posted() - before, 10); // looks of one watch
    setTimers({});
    advance(hours(1));
    EXPECT_FALSE(hasEnded());
}

TEST_F(MessageTimersTest, DeadlineIsKeptWhateverComesIn) {
    openAndAccept();
    setTimers({.deadline = seconds(60)});
    advance(seconds(59));
    arrive("something else");
    runAll();
    advance(seconds(1));
    EXPECT_EQ(m_delegate->reasons, noAnswer);
}

} // namespace
