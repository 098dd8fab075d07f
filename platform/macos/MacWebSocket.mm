// SPDX-License-Identifier: MIT
#include "platform/macos/MacWebSocket.h"

#include "platform/PercentEncoding.h"
#include "platform/macos/FoundationText.h"

#include <algorithm>
#include <atomic>

namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

/// A message is received whole: the largest body of a frame, and room for its head.
constexpr NSInteger largestMessage = NSInteger{257} << 20;
/// So many bytes wait to be sent until nothing more is received.
constexpr std::size_t unsentLimit = std::size_t{512} << 20;
constexpr NSTimeInterval idleLimit = 365.0 * 24 * 60 * 60; // a session may be silent for hours
constexpr std::chrono::seconds openingLimit{60};
constexpr std::chrono::seconds closingLimit{2}; // once all has been sent

/// Left by each connection when it has ended.
dispatch_group_t openSockets() {
    static const dispatch_group_t group = dispatch_group_create();
    return group;
}

std::uint64_t nanoseconds(std::chrono::nanoseconds time) {
    return static_cast<std::uint64_t>(time.count());
}

dispatch_time_t fromNow(std::chrono::nanoseconds time) {
    return dispatch_time(DISPATCH_TIME_NOW, time.count());
}

} // namespace

/// One connection. Its state belongs to its queue; its events go to the main thread.
@interface QuilletWebSocket : NSObject <NSURLSessionWebSocketDelegate> {
@public
    platform::Application* _application;
    std::weak_ptr<platform::WebSocketDelegate> _delegate;
    std::atomic<bool> _muted;
}
- (void)openURL:(NSURL*)url protocols:(NSArray<NSString*>*)protocols;
- (void)send:(NSString*)text size:(std::size_t)size;
- (void)setTimers:(platform::WebSocketTimers)timers;
- (void)close;
@end

@implementation QuilletWebSocket {
    dispatch_queue_t _queue;
    dispatch_source_t _timer; // keeps this alive until it is cancelled, as the session does
    NSURLSession* _session;
    NSURLSessionWebSocketTask* _task;
    std::size_t _unsentMessages;
    std::size_t _unsentBytes;
    BOOL _isOpen;
    BOOL _isReceiving;
    BOOL _isDelivering; // until the program has taken what came
    BOOL _isClosing;
    BOOL _hasEnded;
    platform::WebSocketTimers _timers;
    steady_clock::time_point _timersSet;
    steady_clock::time_point _received;
    steady_clock::time_point _sent;
    std::int64_t _receivedBytes;
}

- (void)openURL:(NSURL*)url protocols:(NSArray<NSString*>*)protocols {
    dispatch_group_enter(openSockets());
    _queue = dispatch_queue_create("com.quillet.ZqMacClient.websocket", DISPATCH_QUEUE_SERIAL);
    NSOperationQueue* const operations = [[NSOperationQueue alloc] init];
    operations.maxConcurrentOperationCount = 1;
    operations.underlyingQueue = _queue;
    NSURLSessionConfiguration* const configuration =
        [NSURLSessionConfiguration defaultSessionConfiguration];
    configuration.timeoutIntervalForRequest = idleLimit;
    _session = [NSURLSession sessionWithConfiguration:configuration delegate:self
                                        delegateQueue:operations];
    _task = [_session webSocketTaskWithURL:url protocols:protocols];
    _task.maximumMessageSize = largestMessage;
    _timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, _queue);
    dispatch_source_set_event_handler(_timer, ^{ [self tick]; });
    [self startTimers:{.deadline = openingLimit}];
    dispatch_activate(_timer);
    [_task resume];
}

- (void)URLSession:(NSURLSession*)session
          webSocketTask:(NSURLSessionWebSocketTask*)task
    didOpenWithProtocol:(NSString*)protocol {
    _isOpen = YES;
    [self startTimers:{}];
    const std::string subprotocol = protocol == nil ? "" : platform::textOfString(protocol);
    [self post:[subprotocol](auto& delegate) { delegate.webSocketDidOpen(subprotocol); }];
    [self receive];
}

- (void)receive {
    if (!_isOpen || _hasEnded || _isReceiving || _isDelivering || _unsentBytes >= unsentLimit) {
        return;
    }
    _isReceiving = YES;
    _received = steady_clock::now(); // what was not asked for could not come
    [_task receiveMessageWithCompletionHandler:^(
        NSURLSessionWebSocketMessage* message, NSError* error) {
        dispatch_async(self->_queue, ^{ [self didReceive:message error:error]; });
    }];
}

- (void)didReceive:(NSURLSessionWebSocketMessage*)message error:(NSError*)error {
    _isReceiving = NO;
    NSString* const text = message.string;
    NSData* const binary = message.data;
    if (text == nil && binary == nil) {
        [self failWithError:error];
    } else if (_muted) {
        [self receive]; // lest a server that is not read from reads nothing itself
    } else {
        _isDelivering = YES;
        [self deliver:text == nil ? platform::contentOf(binary) : platform::textOfString(text)];
    }
}

- (void)deliver:(std::string)content {
    const auto data = std::make_shared<std::string>(std::move(content));
    [self post:[self, data](auto& delegate) {
        delegate.webSocketDidReceiveData(std::move(*data));
        dispatch_async(self->_queue, ^{
            self->_isDelivering = NO;
            [self receive];
        });
    }];
}

- (void)send:(NSString*)text size:(std::size_t)size {
    dispatch_async(_queue, ^{
        if (self->_hasEnded || self->_isClosing) {
            return;
        }
        ++self->_unsentMessages;
        self->_unsentBytes += size;
        [self->_task sendMessage:[[NSURLSessionWebSocketMessage alloc] initWithString:text]
               completionHandler:^(NSError* error) {
                   dispatch_async(self->_queue, ^{ [self didSend:size error:error]; });
               }];
    });
}

- (void)didSend:(std::size_t)size error:(NSError*)error {
    --_unsentMessages;
    _unsentBytes -= size;
    _sent = steady_clock::now();
    if (error != nil) {
        [self failWithError:error];
    }
    [self closeWhenSent];
    [self receive];
}

- (void)setTimers:(platform::WebSocketTimers)timers {
    dispatch_async(_queue, ^{
        if (!self->_isClosing) {
            [self startTimers:timers];
        }
    });
}

- (void)startTimers:(platform::WebSocketTimers)timers {
    _timers = timers;
    _timersSet = _received = _sent = steady_clock::now();
    const auto wanted = timers.beatInterval > 0ms ? timers.beatInterval / 10 : 1000ms;
    const std::chrono::nanoseconds interval = std::clamp(wanted, 20ms, 1000ms);
    dispatch_source_set_timer(
        _timer, fromNow(interval), nanoseconds(interval), nanoseconds(interval / 10));
}

- (void)tick {
    const auto now = steady_clock::now();
    const std::int64_t bytes = _task.countOfBytesReceived;
    if (std::exchange(_receivedBytes, bytes) != bytes || !_isReceiving) {
        _received = now; // a large message on its way, or nobody listens
    }
    // Where the platform does not count, a large message could not be told from silence.
    const BOOL isSilent = bytes > 0 && now >= _received + _timers.silenceLimit;
    if (_timers.silenceLimit > 0ms && isSilent) {
        [self endWithReason:@"the server has been silent for too long"];
    } else if (_timers.deadline > 0ms && now >= _timersSet + _timers.deadline && !_isDelivering) {
        [self endWithReason:@"the server did not answer in time"];
    } else if (_timers.beatInterval > 0ms && now >= _sent + _timers.beatInterval
        && _unsentMessages == 0) {
        [self send:platform::stringOfText(_timers.beat) size:_timers.beat.size()];
    }
}

- (void)close {
    dispatch_async(_queue, ^{
        self->_isClosing = YES;
        self->_isDelivering = self->_isDelivering && !self->_muted;
        [self closeWhenSent];
        [self receive];
    });
}

- (void)closeWhenSent {
    if (_isClosing && !_hasEnded && _unsentMessages == 0) {
        [_task cancelWithCloseCode:NSURLSessionWebSocketCloseCodeNormalClosure reason:nil];
        [self startTimers:{.deadline = closingLimit}];
    }
}

/// None is followed: the redirect ends the opening handshake.
- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest*))completionHandler {
    completionHandler(nil);
}

- (void)URLSession:(NSURLSession*)session
       webSocketTask:(NSURLSessionWebSocketTask*)task
    didCloseWithCode:(NSURLSessionWebSocketCloseCode)code
              reason:(NSData*)reason {
    [self endWithReason:[NSString stringWithFormat:@"the server closed the connection (%ld)",
                                  static_cast<long>(code)]];
}

- (void)URLSession:(NSURLSession*)session
                    task:(NSURLSessionTask*)task
    didCompleteWithError:(NSError*)error {
    [self endWithReason:error == nil ? @"the connection was closed" : error.localizedDescription];
}

/// While the connection is closing the task itself tells when it is done.
- (void)failWithError:(NSError*)error {
    if (!_isClosing) {
        [self URLSession:_session task:_task didCompleteWithError:error];
    }
}

- (void)endWithReason:(NSString*)reason {
    if (_hasEnded) {
        return;
    }
    _hasEnded = YES;
    dispatch_source_cancel(_timer);
    [_session invalidateAndCancel];
    const std::string text = platform::textOfString(reason);
    [self post:[text](auto& delegate) { delegate.webSocketDidClose(text); }];
    dispatch_group_leave(openSockets());
}

- (void)post:(std::function<void(platform::WebSocketDelegate&)>)event {
    _application->performOnMainThread([self, event = std::move(event)] {
        const auto delegate = self->_delegate.lock();
        if (delegate && !self->_muted) {
            event(*delegate);
        }
    });
}
@end

namespace platform {

namespace {

/// All connections that still exist; used under its own lock.
NSHashTable<QuilletWebSocket*>* sockets() {
    static NSHashTable<QuilletWebSocket*>* const table = [NSHashTable weakObjectsHashTable];
    return table;
}

/// What the user of a connection holds.
class MacWebSocket final : public WebSocket {
public:
    explicit MacWebSocket(QuilletWebSocket* socket)
        : m_socket(socket) { }
    ~MacWebSocket() override {
        m_socket->_muted = true;
        [m_socket close];
    }

    void send(std::vector<std::string> pieces) override {
        std::string text;
        for (const std::string& piece : pieces) {
            text += piece;
        }
        [m_socket send:stringOfText(text) size:text.size()];
    }
    void setTimers(WebSocketTimers timers) override { [m_socket setTimers:std::move(timers)]; }
    void close() override { [m_socket close]; }

private:
    QuilletWebSocket* const m_socket;
};

} // namespace

std::shared_ptr<WebSocket> openMacWebSocket(Application& application,
    const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) {
    // The browser is in front of the agent, and what is behind is slowed down, beats included.
    static const id activity = [[NSProcessInfo processInfo]
        beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                          reason:@"Signing session"];
    static_cast<void>(activity);
    QuilletWebSocket* const socket = [[QuilletWebSocket alloc] init];
    socket->_application = &application;
    socket->_delegate = std::move(delegate);
    NSMutableArray<NSString*>* const protocols = [NSMutableArray array];
    for (const std::string& protocol : request.subprotocols) {
        [protocols addObject:stringOfText(protocol)];
    }
    const std::string origin = (request.secure ? "wss://" : "ws://")
        + percentEncodedHost(request.host) + ":" + std::to_string(request.port);
    [socket openURL:urlOf(origin + request.target) protocols:protocols];
    @synchronized(sockets()) {
        [sockets() addObject:socket];
    }
    return std::make_shared<MacWebSocket>(socket);
}

void flushMacWebSockets(std::chrono::milliseconds limit) {
    @synchronized(sockets()) {
        for (QuilletWebSocket* socket in sockets()) {
            socket->_muted = true;
            [socket close];
        }
    }
    dispatch_group_wait(openSockets(), fromNow(limit));
}

} // namespace platform
