// RecordedPort.h - what the ports of a recorded machine share: answers that were prepared beforehand.
//
// A frame, or a test, sets all answers of a port at once; a question copies one out. So a module's pass reads nothing
// and, as far as the answer is made of numbers, allocates nothing.
#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The answer to a question that the recording does not mention, e.g. of "load.values".
inline Failure undescribed(const std::string& field) {
    return {FailureKind::Absent, "recording: " + field, "the recording does not describe it"};
}

/// Notes how a question went and hands the answer on.
template <class Answer>
Answer noted(SourceHealth& health, Answer answer) {
    if (answer)
        health.works();
    else
        (void)health.failed(answer.failure());
    return answer;
}

/// A port whose answers are an `Answers`. Thread: any.
template <class Port, class Answers>
class RecordedPort : public Port {
public:
    /// What the port answers now.
    Answers answers() const {
        std::lock_guard lock(mutex_);
        return answers_;
    }

    /// What it answers from now on.
    void setAnswers(Answers answers) {
        std::lock_guard lock(mutex_);
        std::swap(answers_, answers);
    }

protected:
    /// Copies one answer out and notes it.
    template <class T>
    Result<T> answer(SourceHealth& health, Result<T> Answers::*member) {
        std::unique_lock lock(mutex_);
        Result<T> copy = answers_.*member;
        lock.unlock();
        return noted(health, std::move(copy));
    }

    mutable std::mutex mutex_;
    Answers answers_;
};

}  // namespace hvk
