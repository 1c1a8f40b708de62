#include "support/SavedTree.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace hvk::test {

namespace fs = std::filesystem;

SavedTree::SavedTree() {
    std::string pattern = (fs::temp_directory_path() / "hvk saved tree XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
    root_ = pattern;
}

SavedTree::~SavedTree() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

SavedTree& SavedTree::write(std::string_view file, std::string_view content) {
    const fs::path full = path(file);
    fs::create_directories(full.parent_path());
    std::ofstream(full, std::ios::binary | std::ios::trunc) << content;
    return *this;
}

SavedTree& SavedTree::link(std::string_view file, std::string_view target) {
    const fs::path full = path(file);
    fs::create_directories(full.parent_path());
    fs::create_symlink(target, full);
    return *this;
}

SavedTree& SavedTree::processor(unsigned number, std::string_view threadSiblings) {
    const std::string directory = "/sys/devices/system/cpu/cpu" + std::to_string(number) + "/topology/";
    return write(directory + "thread_siblings_list", std::string(threadSiblings) + "\n");
}

void SavedTree::remove(std::string_view file) { fs::remove_all(path(file)); }

}  // namespace hvk::test
