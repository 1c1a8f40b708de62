// HTTP.h - the servers of a recorded machine: what each address answers, and how much later on the virtual clock.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/HTTP.h"
#include "HVKPlatform/ports/Queues.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// What one address answers.
struct RecordedAnswer {
    Result<HTTPAnswer> answer = HTTPAnswer{};
    double delay = 0;    ///< seconds from the request to its last byte
    bool never = false;  ///< the server takes the request and is not heard of again
};

/// What the port answers.
struct HTTPAnswers {
    /// By the whole address: "https://recipes.example/corvane7/platforms/". It answers every request alike.
    std::map<std::string, std::shared_ptr<const RecordedAnswer>> addresses;

    /// What any other address answers, at once.
    Failure others = undescribed("http.answers");
};

/// Reads a section "http"; what it does not name stays, address by address. Throws RecordingFault.
void readHTTP(const RecordingField& section, HTTPAnswers& answers);

/// The port. A request is answered with what its address answers when it is sent, even when a frame changes that
/// before the answer is there. Completions run with the queues' work. Its own rules are those of a live one: TimedOut
/// after the request's timeout, Malformed over its limit.
class HVK_EXPORT RecordedHTTP : public RecordedPort<HTTPPort, HTTPAnswers> {
public:
    /// The queues may be made later than this object, but before the first request.
    RecordedHTTP(QueuesPort& queues, Diagnostics& diagnostics);
    void send(HTTPRequest request, Completion completion) override;

    /// What was sent so far, in order.
    std::vector<HTTPRequest> requests() const;

private:
    QueuesPort& queues_;
    SourceHealth& health_;
    std::vector<HTTPRequest> requests_;
    std::shared_ptr<Queue> queue_;
};

}  // namespace hvk
