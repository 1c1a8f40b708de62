#include "HVKPlatform/darwin/HTTP.h"

#import <Foundation/Foundation.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

namespace {

constexpr double LongestTimeout = 86'400;

hvk::Failure failureOf(NSError* error, const std::string& source) {
    using hvk::FailureKind;
    FailureKind kind = FailureKind::Malformed;
    if ([error.domain isEqualToString:NSURLErrorDomain]) {
        switch (error.code) {
            case NSURLErrorTimedOut: kind = FailureKind::TimedOut; break;
            case NSURLErrorCannotFindHost:
            case NSURLErrorCannotConnectToHost:
            case NSURLErrorDNSLookupFailed:
            case NSURLErrorNotConnectedToInternet:
            case NSURLErrorInternationalRoamingOff:
            case NSURLErrorCallIsActive:
            case NSURLErrorDataNotAllowed: kind = FailureKind::Absent; break;
            default: break;
        }
    }
    const char* detail = error.localizedDescription.UTF8String;
    return {kind, source, detail != nullptr ? detail : "the request failed"};
}

NSString* text(const std::string& value) {
    return [[NSString alloc] initWithBytes:value.data() length:value.size() encoding:NSUTF8StringEncoding];
}

}  // namespace

/// Receives the answer of a request, and the session that it was sent in.
using Taken = std::function<void(NSURLSession*, hvk::Result<hvk::HTTPAnswer>)>;

/// Takes the answer of one request in. Its messages come on the session's queue, one at a time.
@interface HVKHTTPExchange : NSObject <NSURLSessionDataDelegate>
- (instancetype)initWithSource:(std::string)source limit:(std::size_t)limit completion:(Taken)completion;
@end

@implementation HVKHTTPExchange {
    std::string _source;
    std::size_t _limit;
    Taken _completion;
    hvk::HTTPAnswer _answer;
    BOOL _tooLong;
}

- (instancetype)initWithSource:(std::string)source limit:(std::size_t)limit completion:(Taken)completion {
    if ((self = [super init])) {
        _source = std::move(source);
        _limit = limit;
        _completion = std::move(completion);
    }
    return self;
}

- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest*))completionHandler {
    // What was asked for in secret is not asked for in public.
    const BOOL secure = [task.originalRequest.URL.scheme.lowercaseString isEqualToString:@"https"];
    const BOOL staysSecure = [request.URL.scheme.lowercaseString isEqualToString:@"https"];
    completionHandler(secure && !staysSecure ? nil : request);
}

- (void)URLSession:(NSURLSession*)session
              dataTask:(NSURLSessionDataTask*)task
    didReceiveResponse:(NSURLResponse*)response
     completionHandler:(void (^)(NSURLSessionResponseDisposition))completionHandler {
    if ([response isKindOfClass:NSHTTPURLResponse.class])
        _answer.status = static_cast<int>(static_cast<NSHTTPURLResponse*>(response).statusCode);
    completionHandler(NSURLSessionResponseAllow);
}

- (void)URLSession:(NSURLSession*)session dataTask:(NSURLSessionDataTask*)task didReceiveData:(NSData*)data {
    if (_tooLong) return;
    if (data.length > _limit - _answer.body.size()) {
        _tooLong = YES;
        [task cancel];
        return;
    }
    auto& body = _answer.body;
    [data enumerateByteRangesUsingBlock:^(const void* bytes, NSRange range, BOOL*) {
      const auto* first = static_cast<const std::uint8_t*>(bytes);
      body.insert(body.end(), first, first + range.length);
    }];
}

- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(NSError*)error {
    if (_tooLong)
        _completion(session, hvk::Failure{hvk::FailureKind::Malformed, _source, "the answer is longer than allowed"});
    else if (error != nil)
        _completion(session, failureOf(error, _source));
    else
        _completion(session, std::move(_answer));
    // Empties what the session keeps, then lets go of it and of this object.
    [session flushWithCompletionHandler:^{
    }];
    [session finishTasksAndInvalidate];
}

@end

namespace hvk {

/// The sessions on the way. A completion looks here whether it is still wanted, so it may come after the port's end.
class DarwinHTTPPort::Requests {
public:
    explicit Requests(SourceHealth& health) : health_(&health) {}

    bool add(NSURLSession* session) {
        const std::lock_guard lock(mutex_);
        if (stopped_) return false;
        [sessions_ addObject:session];
        return true;
    }

    /// Calls the completion unless the port has ended; the end waits while it runs.
    void complete(NSURLSession* session, const Completion& completion, Result<HTTPAnswer> answer) {
        const std::lock_guard lock(completing_);
        {
            const std::lock_guard state(mutex_);
            if (session != nil) [sessions_ removeObject:session];
            if (stopped_) return;
        }
        if (answer)
            health_->works();
        else
            (void)health_->failed(answer.failure());
        if (completion) completion(std::move(answer));
    }

    void stop() {
        NSArray<NSURLSession*>* ended = nil;
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
            ended = sessions_.allObjects;
            [sessions_ removeAllObjects];
        }
        for (NSURLSession* session in ended) [session invalidateAndCancel];
        // A completion that has begun ends first.
        const std::lock_guard lock(completing_);
    }

private:
    std::mutex mutex_;
    std::recursive_mutex completing_;  ///< a completion may send anew, and that may be refused at once
    bool stopped_ = false;
    NSMutableSet<NSURLSession*>* sessions_ = [NSMutableSet set];
    SourceHealth* health_;
};

DarwinHTTPPort::DarwinHTTPPort(Diagnostics& diagnostics)
    : requests_(std::make_shared<Requests>(
          diagnostics.source("NSURLSession", "requests to servers", "check the network and the server's address"))) {}

DarwinHTTPPort::~DarwinHTTPPort() { stop(); }

void DarwinHTTPPort::stop() { requests_->stop(); }

void DarwinHTTPPort::send(HTTPRequest request, Completion completion) {
    @autoreleasepool {
        NSString* address = text(request.url);
        NSURL* url = address != nil ? [NSURL URLWithString:address] : nil;
        NSString* scheme = url.scheme.lowercaseString;
        NSString* method = text(request.method);
        if (!([scheme isEqualToString:@"http"] || [scheme isEqualToString:@"https"]) || method.length == 0) {
            requests_->complete(nil, completion,
                                Failure{FailureKind::Malformed, request.url, "this is no request over HTTP"});
            return;
        }
        const double timeout = std::isnan(request.timeout) ? 0 : std::clamp(request.timeout, 0.001, LongestTimeout);
        NSURLSessionConfiguration* configuration = NSURLSessionConfiguration.ephemeralSessionConfiguration;
        configuration.requestCachePolicy = NSURLRequestReloadIgnoringLocalCacheData;
        configuration.URLCache = nil;
        configuration.HTTPCookieStorage = nil;
        configuration.URLCredentialStorage = nil;
        configuration.timeoutIntervalForRequest = timeout;
        configuration.timeoutIntervalForResource = timeout;

        NSMutableURLRequest* message = [NSMutableURLRequest requestWithURL:url];
        message.HTTPMethod = method;
        message.timeoutInterval = timeout;
        if (!request.contentType.empty())
            [message setValue:text(request.contentType) forHTTPHeaderField:@"Content-Type"];
        if (!request.body.empty())
            message.HTTPBody = [NSData dataWithBytes:request.body.data() length:request.body.size()];

        // The session holds its delegate until it is invalidated; the delegate does not hold the session.
        HVKHTTPExchange* exchange =
            [[HVKHTTPExchange alloc] initWithSource:request.url
                                              limit:request.limit
                                         completion:[requests = requests_, completion = std::move(completion)](
                                                        NSURLSession* session, Result<HTTPAnswer> answer) {
                                             requests->complete(session, completion, std::move(answer));
                                         }];
        NSURLSession* session = [NSURLSession sessionWithConfiguration:configuration
                                                              delegate:exchange
                                                         delegateQueue:nil];
        if (!requests_->add(session)) {
            [session invalidateAndCancel];
            return;
        }
        [[session dataTaskWithRequest:message] resume];
    }
}

}  // namespace hvk
