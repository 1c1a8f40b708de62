#include "HVKPlatform/linux/TaskRecordStream.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/SystemCalls.h"
#include "HVKPlatform/linux/parse/TaskRecords.h"

namespace hvk {

namespace {

/// The kernel hands over up to 8 pages in one read, however large the buffer is.
constexpr std::size_t MostInOneRead = std::size_t{1} << 16;
constexpr std::size_t RecordsInOneRead = MostInOneRead / sizeof(parse::TaskRecord) + 1;

/// The kernel answers EAGAIN after a million threads in a row without a process to tell of.
constexpr int MostEmptyReads = 64;

}  // namespace

Result<std::span<parse::TaskRecord>> TaskRecordStream::read(int descriptor) {
    std::size_t used = 0;
    int emptyReads = 0;
    for (;;) {
        const std::size_t wanted = used / sizeof(parse::TaskRecord) + RecordsInOneRead + 1;
        if (buffer_.size() < wanted) buffer_.resize(std::max(wanted, buffer_.size() * 2));
        const auto room = std::as_writable_bytes(std::span(buffer_)).subspan(used);
        countSystemCalls();
        const ssize_t count = ::read(descriptor, room.data(), room.size());
        if (count == 0) break;
        if (count > 0) {
            used += static_cast<std::size_t>(count);
            continue;
        }
        if (errno == EINTR) continue;
        if (errno == EAGAIN && ++emptyReads < MostEmptyReads) continue;
        return failureFromErrno(errno, "task iterator");
    }
    return parse::takeTaskRecords(buffer_, used);
}

}  // namespace hvk
