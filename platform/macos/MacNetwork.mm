// SPDX-License-Identifier: MIT
#include "platform/macos/FoundationText.h"
#include "platform/macos/MacPlatform.h"
#include "platform/macos/MacWebSocket.h"

/// Lets a data task follow redirects to https only.
@interface QuilletRedirectGuard : NSObject <NSURLSessionTaskDelegate>
@end

@implementation QuilletRedirectGuard
- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest*))completionHandler {
    const BOOL isSecure = [request.URL.scheme.lowercaseString isEqualToString:@"https"];
    completionHandler(isSecure ? request : nil); // the redirect itself is then the response
}
@end

namespace platform {

namespace {

void complete(
    const DataTaskCompletion& completion, NSData* data, NSURLResponse* response, NSError* error) {
    if (error != nil) {
        completion({}, {}, TransportError{textOfString(error.localizedDescription)});
        return;
    }
    const NSInteger status = static_cast<NSHTTPURLResponse*>(response).statusCode;
    if (status >= 300 && status < 400) {
        completion({}, {}, TransportError{"the server redirects to an address that is not https"});
        return;
    }
    completion(data == nil ? std::nullopt : std::optional(contentOf(data)),
        URLResponse{textOfString(response.URL.absoluteString), static_cast<int>(status)}, {});
}

class DataTask final : public URLSessionDataTask {
public:
    DataTask(NSURL* url, DataTaskCompletion completion)
        : m_session([NSURLSession
            sessionWithConfiguration:[NSURLSessionConfiguration defaultSessionConfiguration]
                            delegate:[[QuilletRedirectGuard alloc] init]
                       delegateQueue:nil])
        , m_task([m_session dataTaskWithURL:url
                          completionHandler:^(NSData* data, NSURLResponse* response,
                              NSError* error) { complete(completion, data, response, error); }]) { }

    /// The session lives on until the task is done.
    void resume() override {
        [m_task resume];
        [m_session finishTasksAndInvalidate];
    }

private:
    NSURLSession* const m_session;
    NSURLSessionDataTask* const m_task;
};

class MacNetwork final : public Network {
public:
    explicit MacNetwork(Application& application)
        : m_application(application) { }

    std::unique_ptr<URLSessionDataTask> dataTaskWithURL(
        const std::string& url, DataTaskCompletion completion) override {
        return std::make_unique<DataTask>(urlOf(url), std::move(completion));
    }
    std::shared_ptr<WebSocket> openWebSocket(
        const WebSocketRequest& request, std::weak_ptr<WebSocketDelegate> delegate) override {
        return openMacWebSocket(m_application, request, std::move(delegate));
    }
    void flush(std::chrono::milliseconds limit) override { flushMacWebSockets(limit); }

private:
    Application& m_application;
};

} // namespace

std::unique_ptr<Network> makeMacNetwork(Application& application) {
    return std::make_unique<MacNetwork>(application);
}

} // namespace platform
