// Files.h - the user's files on Linux.
#pragma once

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/support/PosixFiles.h"

namespace hvk {

/// FilesPort of the running system: its paths are those of this process, whatever the root of the kernel's files. A
/// saved tree is evidence of another machine, so it answers Unsupported to everything: nothing is written into it, and
/// files of the user who looks at it are not taken for its own. Thread: any.
class LinuxFilesPort : public PosixFilesPort {
public:
    LinuxFilesPort(const LinuxRoot& root, Diagnostics& diagnostics);

    /// $XDG_DATA_HOME, else ~/.local/share by $HOME or, without one, by the user data base. A variable that names no
    /// absolute path counts as unset.
    Result<std::string> applicationSupportDirectory() override;

    Status createDirectory(const std::string& path) override;
    Result<std::vector<std::uint8_t>> read(const std::string& path, std::size_t limit) override;
    Status replace(const std::string& path, std::span<const std::uint8_t> content) override;
    Result<std::vector<std::string>> names(const std::string& directory) override;

private:
    bool live_;
};

}  // namespace hvk
