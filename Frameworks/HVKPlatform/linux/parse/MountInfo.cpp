#include "HVKPlatform/linux/parse/MountInfo.h"

#include <algorithm>
#include <array>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr const char* Source = "/proc/self/mountinfo";

bool isOctal(char digit) { return digit >= '0' && digit <= '7'; }

/// Blanks, line ends and backslashes are written as "\040".
std::string unescaped(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\' && at + 3 < text.size() && isOctal(text[at + 1]) && isOctal(text[at + 2]) &&
            isOctal(text[at + 3])) {
            plain += static_cast<char>((text[at + 1] - '0') * 64 + (text[at + 2] - '0') * 8 + (text[at + 3] - '0'));
            at += 3;
        } else {
            plain += text[at];
        }
    }
    return plain;
}

/// A number of a device pair.
bool takeDevice(std::string_view word, MountRecord& record) {
    const std::size_t colon = word.find(':');
    if (colon == std::string_view::npos) return false;
    const auto major = toUnsigned(word.substr(0, colon));
    const auto minor = toUnsigned(word.substr(colon + 1));
    if (!major || !minor || *major > UINT32_MAX || *minor > UINT32_MAX) return false;
    record.major = static_cast<std::uint32_t>(*major);
    record.minor = static_cast<std::uint32_t>(*minor);
    return true;
}

/// "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw"; the number of optional fields varies.
bool parseLine(std::string_view line, MountRecord& record) {
    if (!takeUnsigned(line) || !takeUnsigned(line)) return false;
    if (!takeDevice(takeWord(line), record)) return false;
    record.root = unescaped(takeWord(line));
    record.path = unescaped(takeWord(line));
    std::string_view word = takeWord(line);
    while (!word.empty() && word != "-") word = takeWord(line);
    record.kind = unescaped(takeWord(line));
    // An empty source leaves two blanks, and the options follow.
    if (!line.empty() && line.front() == ' ') line.remove_prefix(1);
    record.source = unescaped(line.substr(0, line.find(' ')));
    return !word.empty() && !record.path.empty() && !record.kind.empty();
}

}  // namespace

Result<std::vector<MountRecord>> parseMountInfo(std::string_view content) {
    std::vector<MountRecord> mounts;
    std::size_t number = 0;
    while (!content.empty()) {
        bool complete = false;
        const std::string_view line = takeLine(content, complete);
        ++number;
        MountRecord record;
        if (!complete || !parseLine(line, record))
            return Failure{FailureKind::Malformed, Source,
                           "line " + std::to_string(number) + (complete ? " lacks a field" : " is cut short")};
        mounts.push_back(std::move(record));
    }
    return mounts;
}

bool isNetworkFileSystem(std::string_view kind) {
    constexpr std::array<std::string_view, 17> Kinds = {
        "nfs",        "nfs4",        "cifs",           "smb3",      "smbfs",          "afs",
        "ncpfs",      "9p",          "ceph",           "glusterfs", "lustre",         "fuse.sshfs",
        "fuse.davfs", "fuse.rclone", "fuse.glusterfs", "fuse.s3fs", "fuse.curlftpfs",
    };
    return std::find(Kinds.begin(), Kinds.end(), kind) != Kinds.end();
}

}  // namespace hvk::parse
