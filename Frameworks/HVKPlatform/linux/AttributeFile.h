// AttributeFile.h - a one-line attribute of sysfs that holds a number and is read on every pass.
//
// Opening costs five times what reading does, so the descriptor of a sysfs file is kept, within the budget of a family
// of files, and read from its beginning each time. A file of a saved tree is opened anew each time: it may be replaced.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace hvk {

/// How many descriptors a family of files may keep open. Thread: any.
class DescriptorBudget {
public:
    /// Which files are kept open at all.
    enum class Keep {
        KernelFiles,  ///< those of sysfs
        Everything,   ///< those of a saved tree too, whose files are then never replaced
    };

    /// An eighth of what this program may open now, but no more than 2048.
    explicit DescriptorBudget(Keep keep = Keep::KernelFiles);

    /// At most `most`, for tests.
    DescriptorBudget(Keep keep, std::size_t most) : keep_(keep), left_(static_cast<std::ptrdiff_t>(most)) {}

    bool keepsEverything() const { return keep_ == Keep::Everything; }

    /// Takes one; false when none is left.
    bool take();
    void giveBack() { ++left_; }

    /// How many more may be kept.
    std::ptrdiff_t left() const { return left_; }

private:
    Keep keep_;
    std::atomic<std::ptrdiff_t> left_;
};

/// What a reading gave.
struct AttributeReading {
    int error = 0;            ///< an errno; EBADMSG for content that is no number
    std::int64_t number = 0;  ///< only without an error

    bool operator==(const AttributeReading&) const = default;
};

/// One file. A reading allocates nothing. Thread: one at a time.
class AttributeFile {
public:
    AttributeFile() = default;
    /// `path` is the real one, below a saved tree's root.
    AttributeFile(std::string path, DescriptorBudget& budget) : path_(std::move(path)), budget_(&budget) {}
    ~AttributeFile() { close(); }
    AttributeFile(AttributeFile&& other) noexcept;
    AttributeFile& operator=(AttributeFile&& other) noexcept;
    AttributeFile(const AttributeFile&) = delete;
    AttributeFile& operator=(const AttributeFile&) = delete;

    /// Whether it names a file.
    bool isNamed() const { return !path_.empty(); }

    /// Reads the number with one system call, three when no descriptor is kept.
    AttributeReading read();

    /// Reads the first line into `line`, cut to its size; the number of bytes, or minus the errno.
    std::ptrdiff_t readInto(char* line, std::size_t size);

    /// Gives the descriptor up; the next reading opens the file anew.
    void close();

private:
    std::string path_;
    DescriptorBudget* budget_ = nullptr;
    int descriptor_ = -1;
    bool kept_ = false;
};

}  // namespace hvk
