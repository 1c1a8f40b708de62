// The process table from task records: what is made of good and bad ones, and how a machine gets by without them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "HVKPlatform/linux/BestProcessSource.h"
#include "HVKPlatform/linux/IteratorSource.h"
#include "HVKPlatform/linux/TaskRecordStream.h"
#include "HVKPlatform/linux/parse/TaskRecords.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using parse::TaskRecord;
using testing::ElementsAre;
using testing::HasSubstr;

TaskRecord record(std::int32_t pid, std::uint64_t start = 50'000'000'000, const char* name = "sh") {
    TaskRecord record{};
    record.pid = pid;
    record.parent = 1;
    record.user = 1000;
    record.flags = parse::TaskHasMemory | parse::TaskHasIO;
    record.start = start;
    record.cputime = 123'456'789;
    record.anonymousPages = 20;
    record.diskRead = 4096;
    record.diskWritten = 8192;
    record.wakeups = 7;
    std::strncpy(record.name, name, sizeof record.name - 1);
    return record;
}

std::vector<std::int32_t> pidsOf(std::span<const TaskRecord> records) {
    std::vector<std::int32_t> pids;
    for (const TaskRecord& one : records) pids.push_back(one.pid);
    return pids;
}

TEST(TaskRecords, ComeOutInOrderEachOnce) {
    std::vector<TaskRecord> buffer{record(9), record(3, 2), record(9), record(3, 1), record(1), TaskRecord{}};
    const auto records = parse::takeTaskRecords(buffer, 5 * sizeof(TaskRecord));
    ASSERT_TRUE(records);
    EXPECT_THAT(pidsOf(*records), ElementsAre(1, 3, 9));
    EXPECT_EQ((*records)[1].start, 2U) << "the later process of that number";
    EXPECT_TRUE(parse::takeTaskRecords(buffer, 0)->empty());
}

TEST(TaskRecords, ThatAreCutOrGarbageAreRefused) {
    std::vector<TaskRecord> buffer{record(1), record(2), record(3)};
    for (std::size_t bytes = 1; bytes < 3 * sizeof(TaskRecord); ++bytes)
        EXPECT_EQ(static_cast<bool>(parse::takeTaskRecords(buffer, bytes)), bytes % sizeof(TaskRecord) == 0) << bytes;
    EXPECT_FALSE(parse::takeTaskRecords(buffer, 4 * sizeof(TaskRecord))) << "more than there is";

    const auto spoilt = [](auto spoil) {
        std::vector<TaskRecord> one{record(1), record(2)};
        spoil(one[1]);
        return !parse::takeTaskRecords(one, 2 * sizeof(TaskRecord));
    };
    EXPECT_TRUE(spoilt([](TaskRecord& one) { one.pid = 0; }));
    EXPECT_TRUE(spoilt([](TaskRecord& one) { one.pid = -7; }));
    EXPECT_TRUE(spoilt([](TaskRecord& one) { one.parent = -1; }));
    EXPECT_TRUE(spoilt([](TaskRecord& one) { one.flags = 0x80; }));
    EXPECT_TRUE(spoilt([](TaskRecord& one) { std::memset(one.name, 'x', sizeof one.name); }));
    EXPECT_TRUE(spoilt([](TaskRecord& one) { std::memset(&one, 0xFF, sizeof one); }));
}

/// What a reader makes of `bytes` written to a pipe in pieces of `piece`.
Result<std::size_t> countThroughPipe(const std::vector<TaskRecord>& records, std::size_t bytes, std::size_t piece) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    std::thread writer([&] {
        const char* at = reinterpret_cast<const char*>(records.data());
        for (std::size_t done = 0; done < bytes;) {
            const ssize_t count = ::write(ends[1], at + done, std::min(piece, bytes - done));
            if (count <= 0) break;
            done += static_cast<std::size_t>(count);
        }
        ::close(ends[1]);
    });
    TaskRecordStream stream;
    const auto read = stream.read(ends[0]);
    writer.join();
    ::close(ends[0]);
    if (!read) return read.failure();
    EXPECT_TRUE(std::equal(read->begin(), read->end(), records.begin(), [](const auto& one, const auto& other) {
        return std::memcmp(&one, &other, sizeof one) == 0;
    }));
    return read->size();
}

TEST(TaskRecordStream, PutsRecordsTogetherHoweverTheyArrive) {
    std::vector<TaskRecord> records;
    for (std::int32_t pid = 1; pid <= 5000; ++pid) records.push_back(record(pid));
    const std::size_t bytes = records.size() * sizeof(TaskRecord);
    for (const std::size_t piece : {std::size_t{77}, std::size_t{4096}, bytes})
        EXPECT_EQ(countThroughPipe(records, bytes, piece).valueOr(0), 5000U) << piece;
    EXPECT_EQ(countThroughPipe(records, bytes - 1, 4096).failure().kind, FailureKind::Malformed);
    EXPECT_EQ(TaskRecordStream().read(-1).failure().source, "task iterator");
}

/// What the kernel would answer, one pass after another; the last answer holds on.
struct Script {
    std::vector<Result<std::vector<TaskRecord>>> passes;
    std::size_t reads = 0;
    std::vector<std::int32_t> ended;
};

class ScriptedReader : public TaskReader {
public:
    explicit ScriptedReader(Script& script) : script_(script) {}
    Result<std::span<TaskRecord>> read() override {
        const auto& pass = script_.passes[std::min(script_.reads++, script_.passes.size() - 1)];
        if (!pass) return pass.failure();
        records_ = *pass;
        return std::span<TaskRecord>(records_);
    }
    bool isThere(std::int32_t pid) override {
        return std::find(script_.ended.begin(), script_.ended.end(), pid) == script_.ended.end();
    }

private:
    Script& script_;
    std::vector<TaskRecord> records_;
};

/// The /proc of the machine, as far as it differs.
class ScriptedProc : public ProcessSource {
public:
    Status pids(std::vector<std::int32_t>& pids) override {
        pids = listed;
        ++lists;
        return {};
    }
    Result<ProcessInformation> information(std::int32_t pid) override {
        if (std::find(listed.begin(), listed.end(), pid) == listed.end()) return Failure{FailureKind::Gone, "proc", ""};
        ProcessInformation information;
        information.pid = pid;
        information.identity = 77;
        return information;
    }
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override {
        for (std::size_t index = 0; index < pids.size(); ++index) {
            usage[index] = {};
            if (std::find(listed.begin(), listed.end(), pids[index]) == listed.end()) continue;
            usage[index].identity = 77;
            usage[index].kind = ProcessUsageKind::CPUOnly;
        }
    }
    void prepare(std::span<const std::int32_t> pids) override { prepared.assign(pids.begin(), pids.end()); }

    std::vector<std::int32_t> listed, prepared;
    int lists = 0;
};

struct IteratorFixture : testing::Test {
    std::unique_ptr<IteratorSource> make() {
        return std::make_unique<IteratorSource>(std::make_unique<ScriptedReader>(script), proc, 100, 4096,
                                                diagnostics.source("task iterator", "", ""));
    }
    Script script;
    ScriptedProc proc;
    Diagnostics diagnostics;
};

TEST_F(IteratorFixture, TellsEachProcessInTheUnitsOfTheTable) {
    TaskRecord worker = record(4, 90'000'000, "kworker/0:1H-x");
    worker.flags |= parse::TaskIsKernelThread;
    TaskRecord unaccounted = record(8, 0);
    unaccounted.flags = parse::TaskHasMemory;
    script.passes = {std::vector{record(2, 50'009'999'999, "Web Content"), worker, unaccounted}};
    const auto source = make();
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(source->pids(pids));
    EXPECT_THAT(pids, ElementsAre(2, 4, 8));

    std::vector<ProcessUsage> usage(3);
    source->usage(pids, usage);
    EXPECT_EQ(usage[0].kind, ProcessUsageKind::Complete);
    EXPECT_EQ(usage[0].identity, 5001U) << "whole ticks, as /proc has them";
    EXPECT_EQ(usage[0].cputime, 123'456'789U);
    EXPECT_EQ(usage[0].memory, 20U * 4096);
    EXPECT_EQ(usage[0].diskRead, 4096U);
    EXPECT_EQ(usage[0].diskWritten, 8192U);
    EXPECT_EQ(usage[0].wakeups, 7U);
    EXPECT_EQ(usage[1].identity, 10U);
    EXPECT_EQ(usage[2].kind, ProcessUsageKind::CPUOnly) << "a kernel without I/O accounting";
    EXPECT_EQ(usage[2].identity, 1U) << "never 0";

    const auto who = source->information(2);
    ASSERT_TRUE(who);
    EXPECT_EQ(who->command, "Web Content");
    EXPECT_EQ(who->parent, 1);
    EXPECT_EQ(who->user, 1000U);
    EXPECT_EQ(who->identity, 5001U);
    EXPECT_EQ(source->information(4)->command, "kworker/0:1H");
    script.ended = {2};
    EXPECT_EQ(source->information(2).failure().kind, FailureKind::Gone);
    EXPECT_EQ(source->information(3).failure().kind, FailureKind::Gone) << "never listed: /proc knows";
}

TEST_F(IteratorFixture, AsksProcForWhatTheKernelKeepsFromIt) {
    // 1 is hidden; 6 began between the two readings; 9 ended meanwhile.
    script.passes = {std::vector{record(2), record(9)}, std::vector{record(2), record(6)}};
    proc.listed = {1, 2, 6};
    const auto source = make();
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(source->pids(pids));
    EXPECT_THAT(pids, ElementsAre(1, 2, 6));
    EXPECT_THAT(proc.prepared, ElementsAre(1));
    EXPECT_THAT(diagnostics.reports()[0].note, HasSubstr("1 "));
    std::vector<ProcessUsage> usage(3);
    source->usage(pids, usage);
    EXPECT_EQ(usage[0].identity, 77U);
    EXPECT_EQ(usage[1].identity, 5001U);
    EXPECT_EQ(usage[2].identity, 5001U);
    EXPECT_EQ(source->information(1)->identity, 77U);

    for (int pass = 0; pass < 20; ++pass) ASSERT_TRUE(source->pids(pids));
    EXPECT_EQ(proc.lists, 1) << "the comparison is no part of every pass";

    // A part of the list, and one that is on no list.
    const std::vector<std::int32_t> some{1, 6, 7};
    source->usage(some, usage);
    EXPECT_EQ(usage[0].identity, 77U);
    EXPECT_EQ(usage[1].identity, 5001U);
    EXPECT_EQ(usage[2].kind, ProcessUsageKind::None);
}

TEST_F(IteratorFixture, WhatIsHiddenIsFoundAgainAfterAFailure) {
    const Failure busy{FailureKind::Malformed, "task iterator", "out of memory"};
    const std::vector<TaskRecord> two{record(2)};
    script.passes = {two, two, busy, two, busy, two};
    proc.listed = {1, 2};
    const auto source = make();
    std::vector<std::int32_t> pids;
    ASSERT_TRUE(source->pids(pids));
    EXPECT_FALSE(source->pids(pids));
    EXPECT_FALSE(source->pids(pids)) << "the second reading of the comparison failed";
    EXPECT_THAT(pids, ElementsAre(1, 2)) << "left as they were";
    ASSERT_TRUE(source->pids(pids));
    EXPECT_THAT(pids, ElementsAre(1, 2));
    EXPECT_THAT(proc.prepared, ElementsAre(1));
}

/// A machine whose iterator a test has in its hand, over the /proc that the test runs on.
struct ChoiceFixture : testing::Test {
    std::unique_ptr<BestProcessSource> make(const LinuxRoot& root, ProcessSourceChoice choice) {
        return std::make_unique<BestProcessSource>(
            root, 100, 4096, diagnostics, choice, [this](const LinuxRoot&, TaskIteratorRefusal& refusal) {
                ++opened;
                refusal = {{FailureKind::Denied, "task iterator", "no"}, "ask"};
                return loads ? std::make_unique<ScriptedReader>(script) : nullptr;
            });
    }
    SourceReport report(const std::string& source) {
        for (const SourceReport& one : diagnostics.reports())
            if (one.source == source) return one;
        return {};
    }
    bool listsThisProgram(ProcessSource& source) {
        std::vector<std::int32_t> pids;
        EXPECT_TRUE(source.pids(pids));
        const auto at = std::lower_bound(pids.begin(), pids.end(), ::getpid());
        if (at == pids.end() || *at != ::getpid()) return false;
        std::vector<ProcessUsage> usage(pids.size());
        source.usage(pids, usage);
        return usage[static_cast<std::size_t>(at - pids.begin())].cputime != 123'456'789;
    }
    Script script;
    Diagnostics diagnostics;
    LinuxRoot live;
    bool loads = true;
    int opened = 0;
};

TEST_F(ChoiceFixture, WithoutTheIteratorProcIsReadAndTheReasonSaid) {
    loads = false;
    const auto source = make(live, ProcessSourceChoice::Best);
    EXPECT_EQ(opened, 0) << "nothing before the first pass";
    EXPECT_TRUE(listsThisProgram(*source));
    EXPECT_TRUE(listsThisProgram(*source));
    EXPECT_EQ(opened, 1);
    const SourceReport iterator = report("task iterator");
    ASSERT_TRUE(iterator.failure);
    EXPECT_EQ(iterator.failure->kind, FailureKind::Denied);
    EXPECT_THAT(iterator.failure->detail, HasSubstr("no; processes are read from /proc"));
    EXPECT_EQ(iterator.mend, "ask");
    EXPECT_EQ(report("/proc").failures, 0U);
    EXPECT_EQ(report("/proc").readings, 2U);

    std::vector<std::int32_t> pids{5};
    EXPECT_EQ(make(live, ProcessSourceChoice::Iterator)->pids(pids).failure().kind, FailureKind::Denied);
    EXPECT_THAT(pids, ElementsAre(5));
}

TEST_F(ChoiceFixture, APassThatTheIteratorFailsIsReadFromProcAtOnce) {
    const Failure busy{FailureKind::Malformed, "task iterator", "out of memory"};
    const std::vector<TaskRecord> good{record(::getpid())};
    // The first pass, and that after a failure, reads twice: /proc lists more than is told here.
    script.passes = {good, good, busy, good, good, busy, busy, busy, good};
    const auto source = make(live, ProcessSourceChoice::Best);
    EXPECT_FALSE(listsThisProgram(*source));
    EXPECT_FALSE(report("task iterator").failure);
    EXPECT_TRUE(listsThisProgram(*source));
    EXPECT_THAT(report("task iterator").failure->detail, HasSubstr("out of memory"));
    EXPECT_FALSE(listsThisProgram(*source)) << "and the next is read from the iterator again";
    EXPECT_FALSE(report("task iterator").failure);
    for (int pass = 0; pass < 6; ++pass) EXPECT_TRUE(listsThisProgram(*source)) << "given up after three in a row";
    EXPECT_EQ(report("task iterator").failures, 4U);
    EXPECT_TRUE(report("task iterator").failure);
}

TEST_F(ChoiceFixture, AKernelThatCannotIsNotAskedAgain) {
    script.passes = {std::vector{TaskRecord{record(1)}}};
    script.passes[0]->front().flags = 0;
    const auto source = make(live, ProcessSourceChoice::Best);
    for (int pass = 0; pass < 3; ++pass) EXPECT_TRUE(listsThisProgram(*source));
    EXPECT_EQ(script.reads, 1U);
    EXPECT_EQ(report("task iterator").failure->kind, FailureKind::Unsupported);
}

TEST_F(ChoiceFixture, ASavedTreeHasNoIterator) {
    test::SavedTree tree;
    tree.write("/proc/1/stat", "");
    const LinuxRoot root(tree.root());
    std::vector<std::int32_t> pids;
    EXPECT_TRUE(make(root, ProcessSourceChoice::Best)->pids(pids));
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(report("task iterator").source, "");
}

}  // namespace
}  // namespace hvk
