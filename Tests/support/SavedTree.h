// SavedTree.h - a saved Linux tree that a test writes down: a directory of its own, removed at the end.
#pragma once

#include <string>
#include <string_view>

namespace hvk::test {

/// A temporary directory with files below it.
class SavedTree {
public:
    SavedTree();
    ~SavedTree();
    SavedTree(const SavedTree&) = delete;
    SavedTree& operator=(const SavedTree&) = delete;

    /// Writes a file, making its directories: write("/proc/stat", "cpu ...").
    SavedTree& write(std::string_view file, std::string_view content);

    /// Writes the topology files of one processor.
    SavedTree& processor(unsigned number, std::string_view threadSiblings);

    /// Makes a symbolic link, whether or not its target is there: link("/sys/class/hwmon/hwmon0", "../../devices/...").
    SavedTree& link(std::string_view file, std::string_view target);

    /// Removes a file, or a directory with all below it.
    void remove(std::string_view file);

    const std::string& root() const { return root_; }
    std::string path(std::string_view file) const { return root_ + std::string(file); }

private:
    std::string root_;
};

}  // namespace hvk::test
