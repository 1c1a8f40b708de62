// HTTP.h - one request to a server, and its answer or the reason why there is none.
//
// No cache, no cookies, no state between requests. What an answer means belongs to the modules.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// What to send.
struct HTTPRequest {
    std::string method = "POST";
    std::string url;                      ///< "https://recipes.example/platforms/"
    std::string contentType;              ///< "application/json"; empty sends none
    std::string body;                     ///< as it is
    double timeout = 120;                 ///< seconds until the whole answer must be there
    std::size_t limit = 8 * 1024 * 1024;  ///< bytes of an answer's body that are still taken in
};

/// What came back, whatever its status.
struct HTTPAnswer {
    int status = 0;  ///< 200
    std::vector<std::uint8_t> body;
};

/// Requests. Thread: any may send.
class HVK_EXPORT HTTPPort {
public:
    /// Receives the answer, once, on a thread of the port's own; it must not block or throw.
    using Completion = std::function<void(Result<HTTPAnswer>)>;

    virtual ~HTTPPort() = default;

    /// Sends a request and returns at once. TimedOut after `timeout`, Malformed for an answer over `limit` or one that
    /// breaks the protocol or ends early, Absent when the server cannot be reached. When the port is destroyed,
    /// requests on the way end and their completions are not called. NSURLSession; libcurl.
    virtual void send(HTTPRequest request, Completion completion) = 0;
};

/// Answers Unsupported: the base of a new adapter.
class HVK_EXPORT UnsupportedHTTPPort : public HTTPPort {
public:
    void send(HTTPRequest, Completion completion) override { completion(unsupported("HTTP")); }
};

/// Hands the request on; a test overrides it.
class HVK_EXPORT ForwardingHTTPPort : public HTTPPort {
public:
    explicit ForwardingHTTPPort(HTTPPort& target) : target_(target) {}
    void send(HTTPRequest request, Completion completion) override {
        target_.send(std::move(request), std::move(completion));
    }

protected:
    HTTPPort& target_;
};

}  // namespace hvk
