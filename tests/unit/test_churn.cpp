// Reports of ended processes, from where the kernel gives them to the sample.
#include "base/clock.h"
#include "sample/churn.h"
#include "tests/unit/made.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

static std::string ends(unsigned count) {
    std::string lines;
    for (unsigned i = 0; i < count; i++) lines += "exit " + std::to_string(1000 + i) + " sh\n";
    return lines;
}

TEST(ChurnSampler, ReportsComeFromTheSampleBefore) {
    Made made("taskstats\n"
              "step 1\nnotice taskstats exits <<E\n"
              "exit 50 sh parent=7 status=0x100 cpu=2000 life=3900\n"
              "exit 51 grep parent=50 status=9\nE\n"
              "step 2\nnotice taskstats exits <<E\nhex 01 02\nE\noverrun taskstats\n");
    ChurnSampler sampler{Root()};
    EXPECT_EQ(sampler.reports(), NoReports::None);
    ChurnSample sample;
    sampler.sample(sample);
    EXPECT_TRUE(sample.reported);
    EXPECT_TRUE(sample.ended.empty()); // not the child that was tried
    made.step();
    sampler.sample(sample);
    ASSERT_EQ(sample.ended.size(), 2U);
    EXPECT_EQ(sample.ended[0].pid, 50U);
    EXPECT_EQ(sample.ended[0].parent, 7U);
    EXPECT_EQ(sample.ended[0].status, 0x100U);
    EXPECT_EQ(sample.ended[0].life_us, 3900U);
    EXPECT_EQ(sample.ended[1].name.view(), "grep");
    EXPECT_EQ(sample.lost, 0U);
    made.step();
    sampler.sample(sample);
    EXPECT_TRUE(sample.ended.empty());
    EXPECT_EQ(sample.lost, 1U);
}

// Reports are taken between two samples, too, before there is no more room for them.
TEST(ChurnSampler, ReportsAreTakenBetweenTwoSamples) {
    Made made("taskstats\nstep 1\nnotice taskstats exits <<E\nexit 50 sh\nE\n"
              "step 2\nnotice taskstats exits <<E\nexit 51 grep\nE\n");
    ChurnSampler sampler{Root()};
    ChurnSample sample;
    EXPECT_EQ(sampler.nextLook(), INT64_MAX);
    sampler.sample(sample);
    EXPECT_GT(sampler.nextLook(), getMonotonic());
    made.step();
    sampler.look();
    EXPECT_TRUE(made.world.devices.sockets.begin()->second.news.empty());
    made.step();
    sampler.sample(sample);
    ASSERT_EQ(sample.ended.size(), 2U);
    EXPECT_EQ(sample.ended[0].pid, 50U);
    EXPECT_EQ(sample.ended[1].pid, 51U);
    sampler.sample(sample);
    EXPECT_TRUE(sample.ended.empty());

    Made storm("taskstats\nstep 1\nnotice taskstats exits <<E\n" + ends(1000) + "E\n");
    ChurnSampler watching{Root()};
    storm.step();
    const auto news = storm.world.devices.sockets.begin()->second.news;
    for (size_t taken = 0; taken <= ChurnSampler::MostReports; taken += 1000) {
        storm.world.devices.sockets.begin()->second.news = news;
        watching.look();
    }
    watching.sample(sample);
    EXPECT_EQ(sample.ended.size(), ChurnSampler::MostReports);
    EXPECT_EQ(sample.lost, 1U);
}

// The status of a process is that of its first thread, which may end before others.
TEST(ChurnSampler, AProcessHasTheStatusAndNameOfItsFirstThread) {
    Made made("taskstats\nstep 1\nnotice taskstats exits <<E\n"
              "exit 60 java thread status=0x300 cpu=7\nE\n"
              "step 2\nnotice taskstats exits <<E\n"
              "exit 62 gc thread process=60\nexit 61 worker process=60 all=900\nexit 61 again\nE\n");
    ChurnSampler sampler{Root()};
    ChurnSample sample;
    made.step();
    sampler.sample(sample);
    EXPECT_TRUE(sample.ended.empty());
    made.step();
    sampler.sample(sample);
    ASSERT_EQ(sample.ended.size(), 2U);
    EXPECT_EQ(sample.ended[0].pid, 60U);
    EXPECT_EQ(sample.ended[0].status, 0x300U);
    EXPECT_EQ(sample.ended[0].name.view(), "java");
    EXPECT_EQ(sample.ended[0].cpu_ns, 900U);
    EXPECT_EQ(sample.ended[1].pid, 61U);
    EXPECT_EQ(sample.ended[1].name.view(), "again");
}

TEST(ChurnSampler, WhereNothingIsReported) {
    const auto state = [](const char* world, const char* root = "") {
        Made made(world);
        ChurnSampler sampler{Root(root)};
        ChurnSample sample;
        sampler.sample(sample);
        EXPECT_FALSE(sample.reported);
        return sampler.reports();
    };
    EXPECT_EQ(state(""), NoReports::Unknown);
    EXPECT_EQ(state("nonetlink taskstats EPROTONOSUPPORT\n"), NoReports::Unknown);
    EXPECT_EQ(state("taskstats EPERM\n"), NoReports::Refused);
    EXPECT_EQ(state("taskstats ENOMEM\n"), NoReports::Unknown);
    EXPECT_EQ(state("taskstats EINVAL\n"), NoReports::OtherNamespace);
    EXPECT_EQ(state("taskstats silent\n"), NoReports::OtherNamespace);
    EXPECT_EQ(state("taskstats\n", "/mnt"), NoReports::OtherRoot);
}
