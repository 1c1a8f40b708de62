// Files.h - the user's files on a recorded machine: in memory, gone with it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/Files.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"

namespace hvk {

/// What the port answers.
struct FilesAnswers {
    /// Shared, because a frame copies all answers. Never null.
    using Content = std::shared_ptr<const std::vector<std::uint8_t>>;

    Result<std::string> applicationSupportDirectory = undescribed("files.applicationSupportDirectory");

    /// By path. A failure is what reading answers.
    std::map<std::string, Result<Content>> content;

    /// Those that were made; a directory with a file below it is there without being made.
    std::set<std::string> directories;

    /// What every question about files answers, when the recording says so.
    std::optional<Failure> failure;
};

/// Reads a section "files"; what it does not name stays, file by file. Throws RecordingFault.
void readFiles(const RecordingField& section, FilesAnswers& answers);

/// The port. Files that it is given stay until the machine goes or a frame says otherwise.
class HVK_EXPORT RecordedFiles : public RecordedPort<FilesPort, FilesAnswers> {
public:
    explicit RecordedFiles(Diagnostics& diagnostics);
    Result<std::string> applicationSupportDirectory() override;
    Status createDirectory(const std::string& path) override;
    Result<std::vector<std::uint8_t>> read(const std::string& path, std::size_t limit) override;

    /// Absent when the directory is not there, as on a disk.
    Status replace(const std::string& path, std::span<const std::uint8_t> content) override;
    Result<std::vector<std::string>> names(const std::string& directory) override;

    /// How often files were read and replaced, failed attempts included.
    std::uint64_t reads() const;
    std::uint64_t replacements() const;

private:
    SourceHealth& directory_;
    SourceHealth& content_;
    std::uint64_t reads_ = 0;
    std::uint64_t replacements_ = 0;
};

}  // namespace hvk
