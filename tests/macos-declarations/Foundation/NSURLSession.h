// SPDX-License-Identifier: MIT
// The URL loading of Foundation, as far as it is used; part of Foundation.h.
#pragma once

#pragma clang assume_nonnull begin

@interface NSURLRequest : NSObject
@property (nullable, readonly, copy) NSURL* URL;
@end

@interface NSURLResponse : NSObject
@property (nullable, readonly, copy) NSURL* URL;
@end

@interface NSHTTPURLResponse : NSURLResponse
@property (readonly) NSInteger statusCode;
@end

@class NSHTTPCookieStorage;
@class NSURLCache;

@interface NSURLSessionConfiguration : NSObject
@property (class, readonly, strong) NSURLSessionConfiguration* ephemeralSessionConfiguration;
@property (nullable, strong) NSHTTPCookieStorage* HTTPCookieStorage;
@property (nullable, strong) NSURLCache* URLCache;
@property NSTimeInterval timeoutIntervalForRequest;
@property NSTimeInterval timeoutIntervalForResource;
@end

@interface NSURLSessionTask : NSObject
@property (nullable, readonly, copy) NSURLResponse* response;
@property (readonly) std::int64_t countOfBytesReceived;
- (void)resume;
@end

@interface NSURLSessionDataTask : NSURLSessionTask
@end

enum NSURLSessionWebSocketMessageType : NSInteger {
    NSURLSessionWebSocketMessageTypeData = 0,
    NSURLSessionWebSocketMessageTypeString = 1,
};
enum NSURLSessionWebSocketCloseCode : NSInteger {
    NSURLSessionWebSocketCloseCodeInvalid = 0,
    NSURLSessionWebSocketCloseCodeNormalClosure = 1000,
};

@interface NSURLSessionWebSocketMessage : NSObject
- (instancetype)initWithString:(NSString*)string;
@property (readonly) NSURLSessionWebSocketMessageType type;
@property (nullable, readonly, copy) NSData* data;
@property (nullable, readonly, copy) NSString* string;
@end

@interface NSURLSessionWebSocketTask : NSURLSessionTask
- (void)sendMessage:(NSURLSessionWebSocketMessage*)message
    completionHandler:(void (^)(NSError* _Nullable error))completionHandler;
- (void)receiveMessageWithCompletionHandler:(void (^)(
                                                NSURLSessionWebSocketMessage* _Nullable message,
                                                NSError* _Nullable error))completionHandler;
- (void)cancelWithCloseCode:(NSURLSessionWebSocketCloseCode)closeCode
                     reason:(nullable NSData*)reason;
@property NSInteger maximumMessageSize;
@end

@class NSOperationQueue;
@protocol NSURLSessionDelegate;

@interface NSURLSession : NSObject
+ (NSURLSession*)sessionWithConfiguration:(NSURLSessionConfiguration*)configuration
                                 delegate:(nullable id<NSURLSessionDelegate>)delegate
                            delegateQueue:(nullable NSOperationQueue*)queue;
- (NSURLSessionDataTask*)dataTaskWithURL:(NSURL*)url
                       completionHandler:(void (^)(NSData* _Nullable data,
                                             NSURLResponse* _Nullable response,
                                             NSError* _Nullable error))completionHandler;
- (NSURLSessionWebSocketTask*)webSocketTaskWithURL:(NSURL*)url
                                         protocols:(NSArray<NSString*>*)protocols;
- (void)finishTasksAndInvalidate;
- (void)invalidateAndCancel;
@end

@protocol NSURLSessionDelegate <NSObject>
@end

// The platform leaves every method of a delegate optional. Here they are required, so that a method
// under a wrong name, which would never be called, is noticed.

@protocol NSURLSessionTaskDelegate <NSURLSessionDelegate>
- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest* _Nullable request))completionHandler;
- (void)URLSession:(NSURLSession*)session
                    task:(NSURLSessionTask*)task
    didCompleteWithError:(nullable NSError*)error;
@end

@protocol NSURLSessionWebSocketDelegate <NSURLSessionTaskDelegate>
- (void)URLSession:(NSURLSession*)session
          webSocketTask:(NSURLSessionWebSocketTask*)webSocketTask
    didOpenWithProtocol:(nullable NSString*)protocol;
- (void)URLSession:(NSURLSession*)session
       webSocketTask:(NSURLSessionWebSocketTask*)webSocketTask
    didCloseWithCode:(NSURLSessionWebSocketCloseCode)closeCode
              reason:(nullable NSData*)reason;
@end

#pragma clang assume_nonnull end
