// DirectoryWatch.h - tells whether a directory lists other entries than before, without an allocation.
//
// The change time of a sysfs directory does not move when entries come and go, and no notification is sent for it; its
// list is short, and reading it costs two system calls. The kernel gives an entry that was removed and made again
// another inode, so that is noticed too.
#pragma once

#include <dirent.h>

#include <cstdint>
#include <memory>
#include <string>

namespace hvk {

/// One directory. Thread: one at a time.
class DirectoryWatch {
public:
    /// `path` is the real one, below a saved tree's root. `keep` keeps the directory open between the questions, as is
    /// right for sysfs; a saved tree's may be replaced.
    DirectoryWatch(std::string path, bool keep) : path_(std::move(path)), keep_(keep) {}

    /// Reads the list; whether it is another than the last time. The first time it is, unless the directory is empty or
    /// not there.
    bool changed();

    /// Whether the directory was there the last time.
    bool exists() const { return exists_; }

private:
    struct Closer {
        void operator()(DIR* directory) const { ::closedir(directory); }
    };

    std::string path_;
    bool keep_;
    bool exists_ = false;
    std::unique_ptr<DIR, Closer> directory_;
    std::uint64_t seen_ = 0;  ///< a sum over the entries, whatever their order; 0 for none
};

}  // namespace hvk
