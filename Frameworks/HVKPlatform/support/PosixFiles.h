// PosixFiles.h - the files of a user on a system with POSIX calls: what the Linux and the macOS adapter share.
//
// A file is replaced by a new one beside it that is written, brought to the disk and renamed over the old one; then the
// directory is brought to the disk. A writer that is killed leaves its unfinished file behind; the next one that
// replaces the same file takes it away. Where the user's files lie is the adapters' business.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "HVKPlatform/ports/Files.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// The calls that change a file, as the system has them: -1 and errno on failure. A test overrides one to fail or to
/// end the process there.
class PosixCalls {
public:
    virtual ~PosixCalls() = default;

    virtual int create(const char* path);  ///< open for writing; EEXIST when it is there already
    virtual int lock(int descriptor);      ///< flock, exclusive; EWOULDBLOCK when another holds it
    virtual ssize_t write(int descriptor, const void* bytes, std::size_t size);
    virtual int synchronize(int descriptor);  ///< until the disk has it: fsync, F_FULLFSYNC where there is one
    virtual int close(int descriptor);
    virtual int rename(const char* from, const char* to);
    virtual int remove(const char* path);  ///< unlink
};

/// Files but for the place of the user's. Each outcome is noted in the diagnostics, "files". Thread: any.
class PosixFilesPort : public FilesPort {
public:
    explicit PosixFilesPort(Diagnostics& diagnostics);

    /// With other calls, which must outlive this object.
    PosixFilesPort(Diagnostics& diagnostics, PosixCalls& calls);

    /// Absent: the adapters know it.
    Result<std::string> applicationSupportDirectory() override;

    /// New directories are for their user alone.
    Status createDirectory(const std::string& path) override;

    /// A link in the place of the file is none, whatever it leads to: `replace` would put a file in its place.
    Result<std::vector<std::uint8_t>> read(const std::string& path, std::size_t limit) override;

    Status replace(const std::string& path, std::span<const std::uint8_t> content) override;

    /// Unfinished files of `replace` are left out.
    Result<std::vector<std::string>> names(const std::string& directory) override;

protected:
    /// Notes an outcome; what is absent is an answer and no failure of the source.
    Failure failed(Failure failure);

    SourceHealth& health_;

private:
    PosixCalls& calls_;
};

}  // namespace hvk
