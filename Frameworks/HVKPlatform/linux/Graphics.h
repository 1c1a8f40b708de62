// Graphics.h - the frame rate and graphics switching of a Linux machine: neither is told by any display server or
// driver, so every question is Unsupported. The accelerators are in the registry (registry/PCIProjector.h).
#pragma once

#include "HVKPlatform/ports/Graphics.h"

namespace hvk {

/// GraphicsPort of Linux.
class LinuxGraphicsPort : public UnsupportedGraphicsPort {};

}  // namespace hvk
