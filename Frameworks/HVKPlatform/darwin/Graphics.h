// Graphics.h - the window server's frame rate, and the driver that switches between two graphics processors.
#pragma once

#include "HVKPlatform/ports/Graphics.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// GraphicsPort of macOS. The window server's function is looked up at the first question.
class DarwinGraphicsPort : public GraphicsPort {
public:
    explicit DarwinGraphicsPort(Diagnostics& diagnostics);
    Result<float> frameRate() override;
    Result<GraphicsControlConnection> openControl() override;
    Status startControl(GraphicsControlConnection connection) override;
    Result<std::int64_t> controlState(GraphicsControlConnection connection, std::uint64_t first,
                                      std::uint64_t second) override;
    void closeControl(GraphicsControlConnection connection) override;

private:
    using Connection = int (*)();
    using PerformanceData = int (*)(int connection, double* frames, double* second, double* third, double* fourth);

    void lookUp();

    SourceHealth& frameRate_;
    SourceHealth& control_;
    bool lookedUp_ = false;
    Connection connection_ = nullptr;
    PerformanceData performanceData_ = nullptr;
};

}  // namespace hvk
