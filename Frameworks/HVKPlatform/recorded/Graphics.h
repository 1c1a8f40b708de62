// Graphics.h - the frame rate and the switching controller of a recorded machine.
#pragma once

#include <set>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Graphics.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// The controller as the recording describes it.
struct RecordedGraphicsControl {
    bool starts = true;      ///< whether it lets itself be registered with
    std::int64_t state = 0;  ///< what it answers to a question for its state
};

/// What the port answers.
struct GraphicsAnswers {
    Result<float> frameRate = undescribed("graphics.frameRate");
    Result<RecordedGraphicsControl> control = undescribed("graphics.control");
};

/// Reads a section "graphics": "frameRate", and "control" with "starts" and "state"; what it does not name stays.
/// Throws RecordingFault.
void readGraphics(const RecordingField& section, GraphicsAnswers& answers);

/// The port.
class HVK_EXPORT RecordedGraphics : public RecordedPort<GraphicsPort, GraphicsAnswers> {
public:
    explicit RecordedGraphics(Diagnostics& diagnostics);
    Result<float> frameRate() override;
    Result<GraphicsControlConnection> openControl() override;
    Status startControl(GraphicsControlConnection connection) override;
    Result<std::int64_t> controlState(GraphicsControlConnection connection, std::uint64_t first,
                                      std::uint64_t second) override;
    void closeControl(GraphicsControlConnection connection) override;

    /// How many connections are open: whoever leaks one learns it here.
    std::size_t connectionCount() const;

private:
    Result<RecordedGraphicsControl> opened(GraphicsControlConnection connection);

    SourceHealth& frameRate_;
    SourceHealth& control_;
    std::set<GraphicsControlConnection> connections_;
    GraphicsControlConnection lastConnection_ = 0x2000;
};

}  // namespace hvk
