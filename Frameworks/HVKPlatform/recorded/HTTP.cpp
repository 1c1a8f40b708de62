#include "HVKPlatform/recorded/HTTP.h"

#include <cmath>
#include <utility>

namespace hvk {

namespace {

constexpr const char* Source = "recording: http.answers";
constexpr std::uint64_t LargestStatus = 999;

std::vector<std::uint8_t> bodyOf(const RecordingField& field) {
    if (field.value().is_string()) {
        const std::string text = field.text();
        return {text.begin(), text.end()};
    }
    const Value data = field.propertyValue();
    if (!data.is_binary()) field.wrong("text or {\"$data\": \"<hexadecimal digits>\"}");
    const auto& bytes = data.get_binary();
    return {bytes.begin(), bytes.end()};
}

double readDelay(const RecordingField& field) {
    const double delay = field.number();
    if (!(delay >= 0) || !std::isfinite(delay)) field.fault("should be seconds from 0 on");
    return delay;
}

RecordedAnswer readAnswerOf(const RecordingField& field) {
    RecordedAnswer read;
    if (auto failure = field.failure(Source)) {
        read.answer = std::move(*failure);
        return read;
    }
    field.allowOnly({"status", "body", "delay", "never"});
    if (const auto never = field.find("never")) {
        if (never->value() != true) never->fault("should be true or left out");
        if (field.value().size() != 1) field.fault("who never answers says nothing else");
        read.never = true;
        return read;
    }
    HTTPAnswer answer;
    answer.status = static_cast<int>(field.require("status").unsignedInteger(LargestStatus));
    if (const auto body = field.find("body")) answer.body = bodyOf(*body);
    if (const auto delay = field.find("delay")) read.delay = readDelay(*delay);
    read.answer = std::move(answer);
    return read;
}

}  // namespace

void readHTTP(const RecordingField& section, HTTPAnswers& answers) {
    if (auto failure = section.failure("recording: http")) {
        answers.addresses.clear();
        answers.others = std::move(*failure);
        return;
    }
    section.allowOnly({"answers"});
    const auto addresses = section.find("answers");
    if (!addresses) return;
    if (auto failure = addresses->failure(Source)) {
        answers.addresses.clear();
        answers.others = std::move(*failure);
        return;
    }
    addresses->eachEntry([&](const std::string& address, const RecordingField& field) {
        if (field.value().is_null())
            answers.addresses.erase(address);
        else
            answers.addresses.insert_or_assign(address, std::make_shared<const RecordedAnswer>(readAnswerOf(field)));
    });
}

RecordedHTTP::RecordedHTTP(QueuesPort& queues, Diagnostics& diagnostics)
    : queues_(queues), health_(diagnostics.source(Source, "requests to servers")) {}

void RecordedHTTP::send(HTTPRequest request, Completion completion) {
    std::unique_lock lock(mutex_);
    if (!queue_) queue_ = queues_.serial("http");
    const auto queue = queue_;
    const auto found = answers_.addresses.find(request.url);
    const auto script = found != answers_.addresses.end()
                            ? found->second
                            : std::make_shared<const RecordedAnswer>(RecordedAnswer{answers_.others});
    requests_.push_back(request);
    lock.unlock();

    const bool timesOut = script->never || script->delay > request.timeout;
    queue->asyncAfter(timesOut ? request.timeout : script->delay, [this, script, timesOut, request = std::move(request),
                                                                   completion = std::move(completion)] {
        Result<HTTPAnswer> answer = script->answer;
        if (timesOut)
            answer = Failure{FailureKind::TimedOut, request.url, "no answer within the time allowed"};
        else if (answer && answer->body.size() > request.limit)
            answer = Failure{FailureKind::Malformed, request.url, "the answer is longer than allowed"};
        if (completion) completion(noted(health_, std::move(answer)));
    });
}

std::vector<HTTPRequest> RecordedHTTP::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

}  // namespace hvk
