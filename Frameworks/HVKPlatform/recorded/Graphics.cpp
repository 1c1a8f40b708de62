#include "HVKPlatform/recorded/Graphics.h"

namespace hvk {

namespace {

constexpr const char* FrameRate = "recording: graphics.frameRate";
constexpr const char* Control = "recording: graphics.control";

/// The registry of a Mac asks for this state: which of its two processors draws.
constexpr std::uint64_t ActiveSelector = 1;
constexpr std::uint64_t ActiveDetail = 7;

}  // namespace

void readGraphics(const RecordingField& section, GraphicsAnswers& answers) {
    if (const auto failure = section.failure("recording: graphics")) {
        answers.frameRate = *failure;
        answers.control = *failure;
        return;
    }
    section.allowOnly({"frameRate", "control"});
    if (const auto rate = section.find("frameRate")) {
        if (auto failure = rate->failure(FrameRate))
            answers.frameRate = std::move(*failure);
        else
            answers.frameRate = static_cast<float>(rate->number());
    }
    const auto field = section.find("control");
    if (!field) return;
    if (auto failure = field->failure(Control)) {
        answers.control = std::move(*failure);
        return;
    }
    field->allowOnly({"starts", "state"});
    RecordedGraphicsControl control = answers.control.valueOr({});
    if (const auto starts = field->find("starts")) {
        if (!starts->value().is_boolean()) starts->wrong("true or false");
        control.starts = starts->value().get<bool>();
    }
    if (const auto state = field->find("state")) control.state = state->integer();
    answers.control = control;
}

RecordedGraphics::RecordedGraphics(Diagnostics& diagnostics)
    : frameRate_(diagnostics.source(FrameRate, "the screen's frame rate")),
      control_(diagnostics.source(Control, "which graphics processor is active")) {}

Result<float> RecordedGraphics::frameRate() { return answer(frameRate_, &GraphicsAnswers::frameRate); }

Result<GraphicsControlConnection> RecordedGraphics::openControl() {
    const auto control = answer(control_, &GraphicsAnswers::control);
    if (!control) return control.failure();
    const std::lock_guard lock(mutex_);
    connections_.insert(++lastConnection_);
    return lastConnection_;
}

Result<RecordedGraphicsControl> RecordedGraphics::opened(GraphicsControlConnection connection) {
    {
        const std::lock_guard lock(mutex_);
        if (connections_.count(connection) == 0)
            return Failure{FailureKind::Gone, Control, "the connection is not open"};
    }
    return answer(control_, &GraphicsAnswers::control);
}

Status RecordedGraphics::startControl(GraphicsControlConnection connection) {
    const auto control = opened(connection);
    if (!control) return control.failure();
    if (!control->starts) return Failure{FailureKind::Denied, Control, "the controller refuses"};
    return {};
}

Result<std::int64_t> RecordedGraphics::controlState(GraphicsControlConnection connection, std::uint64_t first,
                                                    std::uint64_t second) {
    const auto control = opened(connection);
    if (!control) return control.failure();
    if (first != ActiveSelector || second != ActiveDetail)
        return Failure{FailureKind::Unsupported, Control, "no such state is recorded"};
    return control->state;
}

void RecordedGraphics::closeControl(GraphicsControlConnection connection) {
    const std::lock_guard lock(mutex_);
    connections_.erase(connection);
}

std::size_t RecordedGraphics::connectionCount() const {
    const std::lock_guard lock(mutex_);
    return connections_.size();
}

}  // namespace hvk
