// HTTP.h - requests through NSURLSession, each in a session of its own that keeps nothing.
#pragma once

#include <memory>

#include "HVKPlatform/ports/HTTP.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// HTTPPort of macOS. The timeout covers the whole exchange; the proxy and the trusted certificates are the system's.
/// Thread: any.
class DarwinHTTPPort : public HTTPPort {
public:
    explicit DarwinHTTPPort(Diagnostics& diagnostics);

    /// As `stop`.
    ~DarwinHTTPPort() override;

    void send(HTTPRequest request, Completion completion) override;

    /// Ends all requests without waiting for a server; when it returns, no completion runs or is called any more. What
    /// is sent after it is dropped. Not to be called from a completion.
    void stop();

private:
    class Requests;

    std::shared_ptr<Requests> requests_;
};

}  // namespace hvk
