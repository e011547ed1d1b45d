// The messages of the kernel about tasks that ended.
#include "parse/attributes.h"
#include "parse/taskstats.h"
#include "tests/unit/made.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <linux/genetlink.h>

#include <gtest/gtest.h>

// The payloads of the messages that a world's lines make.
static std::vector<std::string> payloads(const std::string& lines) {
    std::vector<std::string> all;
    eachMessage(encodeMessages("taskstats", lines).bytes,
                [&](uint16_t, std::string_view payload) { all.emplace_back(payload); });
    return all;
}
static std::optional<EndedTask> parsed(const std::string& line) {
    const auto all = payloads(line);
    return all.empty() ? std::nullopt : parseEndedTask(all[0]);
}

TEST(Taskstats, AProcessThatEnded) {
    const auto task = parsed("exit 811 sh parent=7 uid=70 status=0x700 cpu=3000 life=4000");
    ASSERT_TRUE(task);
    EXPECT_EQ(task->pid, 811U);
    EXPECT_EQ(task->process, 811U);
    EXPECT_EQ(task->parent, 7U);
    EXPECT_EQ(task->uid, 70U);
    EXPECT_EQ(task->status, 0x700U);
    EXPECT_EQ(task->cpu_ns, 3000U);
    EXPECT_EQ(task->life_us, 4000U);
    EXPECT_EQ(task->name.view(), "sh");
    EXPECT_TRUE(task->last);
}

TEST(Taskstats, ThreadsAndWholeGroups) {
    const auto thread = parsed("exit 812 worker thread process=811 cpu=5");
    ASSERT_TRUE(thread);
    EXPECT_FALSE(thread->last);
    EXPECT_EQ(thread->process, 811U);
    const auto last = parsed("exit 813 worker process=811 cpu=5 all=900");
    ASSERT_TRUE(last && last->last);
    EXPECT_EQ(last->cpu_ns, 900U); // of all its threads
}

TEST(Taskstats, OtherFormsAreNotRead) {
    EXPECT_TRUE(parsed("exit 811 sh version=16"));
    EXPECT_FALSE(parsed("exit 811 sh version=11"));
    EXPECT_FALSE(parsed("exit 811 sh version=15")); // other fields at the same places
    EXPECT_FALSE(parsed("exit 0 sh"));
    const auto whole = payloads("exit 811 sh")[0];
    for (size_t size = 0; size < whole.size(); size++) EXPECT_FALSE(parseEndedTask(whole.substr(0, size))) << size;
    auto other = whole;
    other[0] = 1; // command
    EXPECT_FALSE(parseEndedTask(other));
}

TEST(Taskstats, TheFamilyOfThisName) {
    auto answer = familyMessage(27).substr(sizeof(nlmsghdr));
    EXPECT_EQ(parseFamily(answer, "TASKSTATS"), 27);
    EXPECT_FALSE(parseFamily(answer, "TASKSTAT"));
    EXPECT_FALSE(parseFamily(answer.substr(0, answer.size() - 8), "TASKSTATS"));
    EXPECT_FALSE(parseFamily("", "TASKSTATS"));
}
