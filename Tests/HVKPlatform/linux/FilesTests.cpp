// The user's files: replaced whole or not at all, whatever fails and wherever the writer is killed.

#include "HVKPlatform/linux/Files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <thread>

#include "support/SavedTree.h"

namespace hvk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::vector<std::uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::string textOf(const Result<std::vector<std::uint8_t>>& content) {
    return content ? std::string(content->begin(), content->end())
                   : "(" + std::string(failureKindName(content.failure().kind)) + ")";
}

/// Counts the calls and does something at one of them: before it, or instead of it.
class BentCalls : public PosixCalls {
public:
    enum class What { Kill, Fail };
    BentCalls(What what, int at, int error = EIO) : what_(what), at_(at), error_(error) {}

    int create(const char* path) override { return bent() ? -1 : PosixCalls::create(path); }
    ssize_t write(int descriptor, const void* content, std::size_t size) override {
        // In small pieces, so that there are points between them.
        return bent() ? -1 : PosixCalls::write(descriptor, content, std::min<std::size_t>(size, 3));
    }
    int synchronize(int descriptor) override { return bent() ? -1 : PosixCalls::synchronize(descriptor); }
    int close(int descriptor) override {
        const bool fails = bent();
        return PosixCalls::close(descriptor) != 0 || fails ? -1 : 0;
    }
    int rename(const char* from, const char* to) override { return bent() ? -1 : PosixCalls::rename(from, to); }
    int calls() const { return count_; }

private:
    bool bent() {
        if (++count_ != at_) return false;
        if (what_ == What::Kill) ::_exit(77);
        errno = error_;
        return true;
    }

    What what_;
    int at_;
    int error_;
    int count_ = 0;
};

std::set<std::string> everything(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) names.insert(entry.path().filename());
    return names;
}

TEST(Files, AKilledWriterLeavesTheOldContentOrTheNew) {
    test::SavedTree folder;
    const std::string path = folder.path("/file");
    Diagnostics diagnostics;
    PosixFilesPort files(diagnostics);
    int killed = 0;
    bool sawNew = false;
    for (int at = 1;; ++at) {
        ASSERT_TRUE(files.replace(path, bytes("old content")));
        ASSERT_THAT(everything(folder.root()), ElementsAre("file")) << "what a killed writer left is gone";
        const pid_t child = ::fork();
        if (child == 0) {
            BentCalls calls(BentCalls::What::Kill, at);
            Diagnostics own;
            (void)PosixFilesPort(own, calls).replace(path, bytes("the new content"));
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        const std::string found = textOf(files.read(path, 100));
        EXPECT_TRUE(found == "old content" || found == "the new content") << at << ": " << found;
        EXPECT_THAT(*files.names(folder.root()), ElementsAre("file")) << "unfinished files are not shown";
        sawNew = sawNew || found == "the new content";
        if (WEXITSTATUS(status) == 0) break;
        ++killed;
    }
    EXPECT_GE(killed, 9);
    EXPECT_TRUE(sawNew);
}

TEST(Files, AFailedStepLeavesTheOldContentAndNothingBeside) {
    test::SavedTree folder;
    const std::string path = folder.path("/file");
    int failures = 0;
    for (int at = 1;; ++at) {
        Diagnostics diagnostics;
        ASSERT_TRUE(PosixFilesPort(diagnostics).replace(path, bytes("old")));
        BentCalls calls(BentCalls::What::Fail, at, ENOSPC);
        PosixFilesPort files(diagnostics, calls);
        const Status replaced = files.replace(path, bytes("the new content"));
        EXPECT_THAT(everything(folder.root()), ElementsAre("file")) << at;
        EXPECT_EQ(textOf(files.read(path, 100)), replaced ? "the new content" : "old") << at;
        if (!replaced) {
            ++failures;
            EXPECT_THAT(replaced.failure().detail, testing::HasSubstr("No space left"));
        }
        if (calls.calls() < at) break;
    }
    EXPECT_GE(failures, 8) << "create, five pieces, synchronize, rename";
}

TEST(Files, ManyWritersNeverMix) {
    test::SavedTree folder;
    const std::string path = folder.path("/file");
    Diagnostics diagnostics;
    PosixFilesPort files(diagnostics);
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer)
        writers.emplace_back([&, writer] {
            for (int round = 0; round < 25; ++round)
                EXPECT_TRUE(
                    files.replace(path, std::vector<std::uint8_t>(20'000, static_cast<std::uint8_t>('a' + writer))));
        });
    for (int round = 0; round < 50; ++round) {
        const auto content = files.read(path, 100'000);
        if (!content) continue;
        EXPECT_EQ(content->size(), 20'000u);
        EXPECT_EQ(std::set<std::uint8_t>(content->begin(), content->end()).size(), 1u);
    }
    for (auto& writer : writers) writer.join();
    EXPECT_THAT(everything(folder.root()), ElementsAre("file"));
}

TEST(Files, OnlyRegularFilesAreRead) {
    test::SavedTree folder;
    Diagnostics diagnostics;
    PosixFilesPort files(diagnostics);
    ASSERT_TRUE(files.createDirectory(folder.path("/a/b/c")));
    ASSERT_TRUE(files.createDirectory(folder.path("/a/b/c")));
    struct stat status {};
    ASSERT_EQ(::stat(folder.path("/a/b").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    ASSERT_TRUE(files.replace(folder.path("/a/file"), bytes("12345")));
    ASSERT_EQ(::symlink("file", folder.path("/a/link").c_str()), 0);
    ASSERT_EQ(::mkfifo(folder.path("/a/pipe").c_str(), 0600), 0);

    EXPECT_EQ(textOf(files.read(folder.path("/a/file"), 5)), "12345");
    EXPECT_EQ(textOf(files.read(folder.path("/a/file"), 4)), "(malformed)");
    EXPECT_EQ(textOf(files.read(folder.path("/a/none"), 5)), "(absent)");
    for (const char* other : {"/a/b", "/a/link", "/a/pipe"})
        EXPECT_EQ(textOf(files.read(folder.path(other), 5)), "(malformed)") << other;
    EXPECT_THAT(*files.names(folder.path("/a")), UnorderedElementsAre("b", "file", "link", "pipe"));
    EXPECT_EQ(files.names(folder.path("/none")).failure().kind, FailureKind::Absent);
    EXPECT_FALSE(files.createDirectory(folder.path("/a/file/x")));
    EXPECT_EQ(files.replace(folder.path("/none/file"), {}).failure().kind, FailureKind::Absent);
    EXPECT_FALSE(files.replace(folder.path("/a/pipe"), bytes("x"))) << "what is no file is not put away";
    ASSERT_TRUE(files.replace(folder.path("/a/link"), bytes("own")));
    EXPECT_EQ(textOf(files.read(folder.path("/a/file"), 5)), "12345") << "a link is replaced, not followed";
}

TEST(Files, ASavedTreeHasNone) {
    test::SavedTree folder;
    folder.write("/proc/stat", "");
    Diagnostics diagnostics;
    LinuxFilesPort files(LinuxRoot(folder.root()), diagnostics);
    EXPECT_EQ(files.applicationSupportDirectory().failure().kind, FailureKind::Unsupported);
    EXPECT_EQ(files.replace(folder.path("/x"), {}).failure().kind, FailureKind::Unsupported);
    EXPECT_THAT(everything(folder.root()), ElementsAre("proc"));
}

}  // namespace
}  // namespace hvk
