// LinuxRoot.h - where a machine's files lie: "/" of the running system, or a directory saved from another one.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk {

/// A root below which proc/ and sys/ are found. Thread: any.
class LinuxRoot {
public:
    /// `directory` "" or "/" is the running system.
    explicit LinuxRoot(std::string directory = "/");

    /// The path of a file of the machine: "/proc/stat" gives "/saved/tree/proc/stat".
    std::string path(std::string_view file) const;

    /// Whether the files are those of the running kernel: then, and only then, its own constants and clocks hold too.
    /// True for a root whose proc/ is a mounted procfs, wherever it is mounted.
    bool isLive() const { return live_; }

    const std::string& directory() const { return directory_; }

    /// The content of a small file, at most `limit` bytes; for constants that are read once.
    Result<std::string> readFile(std::string_view file, std::size_t limit = 1 << 20) const;

    /// The content of a one-line file without blanks around it; nothing when it cannot be read or is empty.
    std::optional<std::string> readLine(std::string_view file) const;

    /// The names in a directory, sorted; empty when it cannot be listed.
    std::vector<std::string> list(std::string_view directory) const;

private:
    std::string directory_;  ///< without a slash at the end; empty for "/"
    bool live_;
};

/// The failure that an errno stands for: ENOENT and alike Absent, EACCES and EPERM Denied, ESRCH and ENODEV Gone,
/// anything else Malformed; the detail is the system's text.
Failure failureFromErrno(int error, std::string source);

}  // namespace hvk
