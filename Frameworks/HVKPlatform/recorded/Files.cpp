#include "HVKPlatform/recorded/Files.h"

#include <algorithm>
#include <utility>

namespace hvk {

namespace {

constexpr const char* ContentSource = "recording: files.content";

FilesAnswers::Content contentOf(const RecordingField& field) {
    if (field.value().is_string()) {
        const std::string text = field.text();
        return std::make_shared<const std::vector<std::uint8_t>>(text.begin(), text.end());
    }
    const Value data = field.propertyValue();
    if (!data.is_binary()) field.wrong("text or {\"$data\": \"<hexadecimal digits>\"}");
    const auto& bytes = data.get_binary();
    return std::make_shared<const std::vector<std::uint8_t>>(bytes.begin(), bytes.end());
}

std::string parentOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return {};
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// What a path of something in the directory begins with.
std::string startOf(const std::string& directory) { return directory.ends_with('/') ? directory : directory + '/'; }

bool isDirectory(const FilesAnswers& answers, const std::string& path) {
    if (path == "/" || answers.directories.contains(path)) return true;
    const std::string start = startOf(path);
    const auto file = answers.content.lower_bound(start);
    if (file != answers.content.end() && file->first.starts_with(start)) return true;
    const auto directory = answers.directories.lower_bound(start);
    return directory != answers.directories.end() && directory->starts_with(start);
}

Failure absent(const std::string& path) { return {FailureKind::Absent, path, "No such file or directory"}; }

/// What is absent is an answer and no failure of the source.
template <class T>
Result<T> notedUnlessAbsent(SourceHealth& health, Result<T> answer) {
    if (!answer && answer.failure().kind != FailureKind::Absent)
        (void)health.failed(answer.failure());
    else
        health.works();
    return answer;
}

}  // namespace

void readFiles(const RecordingField& section, FilesAnswers& answers) {
    if (auto failure = section.failure("recording: files")) {
        answers.applicationSupportDirectory = *failure;
        answers.failure = std::move(*failure);
        return;
    }
    section.allowOnly({"applicationSupportDirectory", "content"});
    readAnswer(section, "applicationSupportDirectory", "recording: files.applicationSupportDirectory",
               answers.applicationSupportDirectory, [](const RecordingField& field) { return field.text(); });
    const auto content = section.find("content");
    if (!content) return;
    answers.failure = content->failure(ContentSource);
    if (answers.failure) return;
    content->eachEntry([&](const std::string& path, const RecordingField& file) {
        if (path.empty() || path.front() != '/' || path.back() == '/') file.fault("should be named by a whole path");
        if (file.value().is_null())
            answers.content.erase(path);
        else if (auto failure = file.failure(path))
            answers.content.insert_or_assign(path, Result<FilesAnswers::Content>(std::move(*failure)));
        else
            answers.content.insert_or_assign(path, Result<FilesAnswers::Content>(contentOf(file)));
    });
}

RecordedFiles::RecordedFiles(Diagnostics& diagnostics)
    : directory_(diagnostics.source("recording: files.applicationSupportDirectory", "directory of what is kept")),
      content_(diagnostics.source(ContentSource, "what is kept for the user")) {}

Result<std::string> RecordedFiles::applicationSupportDirectory() {
    return answer(directory_, &FilesAnswers::applicationSupportDirectory);
}

Status RecordedFiles::createDirectory(const std::string& path) {
    std::unique_lock lock(mutex_);
    Status made;
    if (answers_.failure)
        made = *answers_.failure;
    else if (answers_.content.contains(path))
        made = Failure{FailureKind::Absent, path, "Not a directory"};
    else
        answers_.directories.insert(path);
    lock.unlock();
    return notedUnlessAbsent(content_, std::move(made));
}

Result<std::vector<std::uint8_t>> RecordedFiles::read(const std::string& path, std::size_t limit) {
    std::unique_lock lock(mutex_);
    ++reads_;
    Result<std::vector<std::uint8_t>> content = absent(path);
    if (answers_.failure) {
        content = *answers_.failure;
    } else if (const auto found = answers_.content.find(path); found != answers_.content.end()) {
        if (!found->second)
            content = found->second.failure();
        else if ((*found->second)->size() > limit)
            content = Failure{FailureKind::Malformed, path, "it is longer than " + std::to_string(limit) + " bytes"};
        else
            content = **found->second;
    } else if (isDirectory(answers_, path)) {
        content = Failure{FailureKind::Malformed, path, "this is no regular file"};
    }
    lock.unlock();
    return notedUnlessAbsent(content_, std::move(content));
}

Status RecordedFiles::replace(const std::string& path, std::span<const std::uint8_t> content) {
    std::unique_lock lock(mutex_);
    ++replacements_;
    Status replaced;
    if (answers_.failure)
        replaced = *answers_.failure;
    else if (!isDirectory(answers_, parentOf(path)))
        replaced = absent(path);
    else if (isDirectory(answers_, path))
        replaced = Failure{FailureKind::Malformed, path, "Is a directory"};
    else
        answers_.content.insert_or_assign(
            path, Result<FilesAnswers::Content>(
                      std::make_shared<const std::vector<std::uint8_t>>(content.begin(), content.end())));
    lock.unlock();
    return notedUnlessAbsent(content_, std::move(replaced));
}

Result<std::vector<std::string>> RecordedFiles::names(const std::string& directory) {
    std::unique_lock lock(mutex_);
    Result<std::vector<std::string>> answer = absent(directory);
    if (answers_.failure) {
        answer = *answers_.failure;
    } else if (isDirectory(answers_, directory)) {
        std::set<std::string> names;
        const std::string start = startOf(directory);
        const auto take = [&](const std::string& path) {
            if (!path.starts_with(start) || path.size() == start.size()) return;
            names.insert(path.substr(start.size(), path.find('/', start.size()) - start.size()));
        };
        for (const auto& [path, content] : answers_.content) take(path);
        for (const std::string& path : answers_.directories) take(path);
        answer = std::vector<std::string>(names.begin(), names.end());
    }
    lock.unlock();
    return notedUnlessAbsent(content_, std::move(answer));
}

std::uint64_t RecordedFiles::reads() const {
    std::lock_guard lock(mutex_);
    return reads_;
}

std::uint64_t RecordedFiles::replacements() const {
    std::lock_guard lock(mutex_);
    return replacements_;
}

}  // namespace hvk
