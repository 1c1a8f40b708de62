// Files.h - the user's files on macOS.
#pragma once

#include "HVKPlatform/support/PosixFiles.h"

namespace hvk {

/// FilesPort of macOS. Thread: any.
class DarwinFilesPort : public PosixFilesPort {
public:
    using PosixFilesPort::PosixFilesPort;

    /// The Application Support directory of the user, or that of the sandbox the program runs in.
    Result<std::string> applicationSupportDirectory() override;
};

}  // namespace hvk
