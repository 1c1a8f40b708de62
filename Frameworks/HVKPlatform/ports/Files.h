// Files.h - the few files that the framework keeps for the user: read whole, replaced whole.
//
// Not a file system: kernel files belong to the adapters, and the framework's own resources to HVKBase.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// The user's files. Thread: any.
class HVK_EXPORT FilesPort {
public:
    virtual ~FilesPort() = default;

    /// The directory for what a program keeps for its user, without a slash at the end; it need not exist yet. macOS:
    /// the Application Support directory. Linux: $XDG_DATA_HOME, else ~/.local/share. Absent when there is no home.
    virtual Result<std::string> applicationSupportDirectory() = 0;

    /// Makes a directory and those above it. Success when it is there already.
    virtual Status createDirectory(const std::string& path) = 0;

    /// The whole of a regular file of at most `limit` bytes. Absent when there is none, Denied when it may not be read,
    /// Malformed when it is longer or no regular file.
    virtual Result<std::vector<std::uint8_t>> read(const std::string& path, std::size_t limit) = 0;

    /// Puts a file in place of what was there. A reader, and a machine that loses its power at any point, sees the old
    /// content or the new one and never a mixture. On failure the old content stays and nothing is left beside it.
    virtual Status replace(const std::string& path, std::span<const std::uint8_t> content) = 0;

    /// The names in a directory, in no order. Absent when there is no such directory.
    virtual Result<std::vector<std::string>> names(const std::string& directory) = 0;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedFilesPort : public FilesPort {
public:
    Result<std::string> applicationSupportDirectory() override { return unsupported("application support directory"); }
    Status createDirectory(const std::string&) override { return unsupported("files"); }
    Result<std::vector<std::uint8_t>> read(const std::string&, std::size_t) override { return unsupported("files"); }
    Status replace(const std::string&, std::span<const std::uint8_t>) override { return unsupported("files"); }
    Result<std::vector<std::string>> names(const std::string&) override { return unsupported("files"); }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingFilesPort : public FilesPort {
public:
    explicit ForwardingFilesPort(FilesPort& target) : target_(target) {}
    Result<std::string> applicationSupportDirectory() override { return target_.applicationSupportDirectory(); }
    Status createDirectory(const std::string& path) override { return target_.createDirectory(path); }
    Result<std::vector<std::uint8_t>> read(const std::string& path, std::size_t limit) override {
        return target_.read(path, limit);
    }
    Status replace(const std::string& path, std::span<const std::uint8_t> content) override {
        return target_.replace(path, content);
    }
    Result<std::vector<std::string>> names(const std::string& directory) override { return target_.names(directory); }

protected:
    FilesPort& target_;
};

}  // namespace hvk
