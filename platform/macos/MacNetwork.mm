// SPDX-License-Identifier: MIT
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"
#include "platform/shared/DataTask.h"
#include "platform/shared/MessageNetwork.h"
#include "platform/shared/WebPage.h"

namespace {

/// A message is received whole: the largest body of a frame, and room for its head.
constexpr NSInteger largestMessage = NSInteger{257} << 20;
constexpr NSTimeInterval idleLimit = 365.0 * 24 * 60 * 60; // a session may be silent for hours
constexpr NSTimeInterval requestLimit = 60; // for one GET with all its redirects

std::optional<std::string> errorOf(NSError* error) {
    return platform::optionalTextOf(error.localizedDescription);
}

} // namespace

/// The delegate of both kinds of tasks. The URL session keeps it until it is invalidated.
@interface QuilletSessionDelegate : NSObject <NSURLSessionWebSocketDelegate> {
@public
    std::shared_ptr<platform::MessageTaskDelegate> _webSocket; // null for a data task
    std::function<bool(NSURL*)> _follows; // of a data task: whether it is redirected there
}
@end

@implementation QuilletSessionDelegate
/// A WebSocket follows none. A redirect that is not followed is the response.
- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest*))completionHandler {
    completionHandler(_follows && _follows(request.URL) ? request : nil);
}

- (void)URLSession:(NSURLSession*)session
          webSocketTask:(NSURLSessionWebSocketTask*)task
    didOpenWithProtocol:(NSString*)protocol {
    if (_webSocket) {
        _webSocket->taskDidOpen(platform::textOfString(protocol));
    }
}

- (void)URLSession:(NSURLSession*)session
       webSocketTask:(NSURLSessionWebSocketTask*)task
    didCloseWithCode:(NSURLSessionWebSocketCloseCode)code
              reason:(NSData*)reason {
    if (_webSocket) {
        _webSocket->taskDidEnd("the server closed the connection (" + std::to_string(code) + ")");
    }
}

- (void)URLSession:(NSURLSession*)session
                    task:(NSURLSessionTask*)task
    didCompleteWithError:(NSError*)error {
    if (_webSocket) {
        _webSocket->taskDidEnd(errorOf(error));
    }
}
@end

namespace platform {

namespace {

NSURLSession* sessionOf(QuilletSessionDelegate* delegate) {
    const auto configuration = [NSURLSessionConfiguration ephemeralSessionConfiguration];
    configuration.HTTPCookieStorage = nil;
    configuration.URLCache = nil;
    const NSTimeInterval limit = delegate->_webSocket ? idleLimit : requestLimit;
    configuration.timeoutIntervalForRequest = limit; // without a byte
    configuration.timeoutIntervalForResource = limit; // for all of it
    return [NSURLSession sessionWithConfiguration:configuration delegate:delegate
                                    delegateQueue:nil];
}

class WebSocketTask final : public MessageTask {
public:
    WebSocketTask(NSURL* url, NSArray<NSString*>* protocols, QuilletSessionDelegate* delegate)
        : m_session(sessionOf(delegate))
        , m_task([m_session webSocketTaskWithURL:url protocols:protocols]) {
        m_task.maximumMessageSize = largestMessage;
    }

    void resume() override { [m_task resume]; }
    void send(std::string text, Sent sent) override {
        [m_task sendMessage:[[NSURLSessionWebSocketMessage alloc] initWithString:stringOfText(text)]
            completionHandler:^(NSError* error) { sent(errorOf(error)); }];
    }
    void receive(Received received) override {
        [m_task receiveMessageWithCompletionHandler:^(
            NSURLSessionWebSocketMessage* message, NSError* error) {
            auto binary = contentOf(message.data);
            received(binary ? std::move(binary) : optionalTextOf(message.string), errorOf(error));
        }];
    }
    std::int64_t countOfBytesReceived() override { return m_task.countOfBytesReceived; }
    void cancel() override {
        [m_task cancelWithCloseCode:NSURLSessionWebSocketCloseCodeNormalClosure reason:nil];
    }
    void invalidate() override { [m_session invalidateAndCancel]; }

private:
    NSURLSession* const m_session;
    NSURLSessionWebSocketTask* const m_task;
};

class MacNetwork final : public MessageNetwork {
public:
    explicit MacNetwork(Application& application)
        : MessageNetwork(application, networkDispatchQueue()) { }

    std::unique_ptr<URLSessionDataTask> dataTaskWithURL(
        const std::string& url, DataTaskCompletion completion) override {
        NSURL* const address = urlOf(url);
        if (const auto words = refusalOf(address)) {
            return makeRefusedDataTask(networkDispatchQueue(), std::move(completion), *words);
        }
        QuilletSessionDelegate* const sessionDelegate = [[QuilletSessionDelegate alloc] init];
        const auto refused = std::make_shared<std::optional<std::string>>(); // of a redirect
        sessionDelegate->_follows = [this, refused](NSURL* target) {
            const bool isSecure = isSecureWebPage(textOfString(target.absoluteString));
            *refused = isSecure ? refusalOf(target) : std::nullopt;
            return isSecure && !*refused;
        };
        NSURLSession* const session = sessionOf(sessionDelegate);
        NSURLSessionDataTask* const task = [session
              dataTaskWithURL:address
            completionHandler:^(NSData* data, NSURLResponse* response, NSError* error) {
                const NSInteger status = static_cast<NSHTTPURLResponse*>(response).statusCode;
                completeDataTask(completion, *refused ? *refused : errorOf(error), contentOf(data),
                    {textOfString(response.URL.absoluteString), static_cast<int>(status)});
            }];
        return makeDataTask([session, task] {
            [task resume];
            [session finishTasksAndInvalidate]; // it lives on until the task is done
        });
    }

private:
    std::optional<std::string> refusalOf(NSURL* url) {
        const std::uint64_t port = url.port == nil ? 443 : url.port.unsignedLongLongValue;
        return refusal(textOfString(url.host), port);
    }

    std::unique_ptr<MessageTask> makeMessageTask(const std::string& url,
        const std::vector<std::string>& subprotocols,
        std::shared_ptr<MessageTaskDelegate> delegate) override {
        // The browser is in front of the agent, and what is behind is slowed down, beats included.
        [[maybe_unused]] static const id activity = [[NSProcessInfo processInfo]
            beginActivityWithOptions:NSActivityUserInitiatedAllowingIdleSystemSleep
                              reason:@"Signing session"];
        NSMutableArray<NSString*>* const protocols = [NSMutableArray array];
        for (const std::string& subprotocol : subprotocols) {
            [protocols addObject:stringOfText(subprotocol)];
        }
        QuilletSessionDelegate* const sessionDelegate = [[QuilletSessionDelegate alloc] init];
        sessionDelegate->_webSocket = std::move(delegate);
        return std::make_unique<WebSocketTask>(urlOf(url), protocols, sessionDelegate);
    }
};

} // namespace

std::unique_ptr<MessageNetwork> makeMacNetwork(Application& application) {
    return std::make_unique<MacNetwork>(application);
}

} // namespace platform
