// HTTP.h - requests through libcurl: one thread, started by the first request, carries all that are on the way.
#pragma once

#include <memory>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/ports/HTTP.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// HTTPPort of the running system. A saved tree answers Unsupported: nothing is sent in the name of another machine.
///
/// Only http and https are spoken, certificates are checked, and a server may redirect a request (but not from https
/// to http). The proxy is that of the environment. The timeout covers the whole exchange, from the look-up of the name
/// to the last byte. Thread: any.
class CurlHTTPPort : public HTTPPort {
public:
    CurlHTTPPort(const LinuxRoot& root, Diagnostics& diagnostics);

    /// As `stop`.
    ~CurlHTTPPort() override;

    /// An answer whose headers are longer than 256 KiB breaks the protocol.
    void send(HTTPRequest request, Completion completion) override;

    /// Ends all requests without waiting for a server; when it returns, no completion runs or is called any more. What
    /// is sent after it is dropped. Not to be called from a completion.
    void stop();

private:
    class Worker;

    bool live_;
    SourceHealth& health_;
    std::unique_ptr<Worker> worker_;
};

}  // namespace hvk
