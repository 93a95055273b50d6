// A whole boot: which stage reports what, and what becomes of a boot whose stages fail or die.
#include <csignal>
#include <cstdio>
#include <sys/time.h>
#include <unistd.h>

#include "formats/device_paths.h"
#include "hosting/boot.h"
#include "tests/support/vab_builder.h"
#include "tests/unit/hosting/hosted_device.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHosting::BootStage;
using TavomendHosting::Outcome;
using TavomendHosting::PatchRunResult;

// Ends its process when it is told what a stage has come to.
class EndingObserver : public RecordingObserver {
public:
    EndingObserver(BootStage stage, std::function<void()> end)
        : RecordingObserver(REPORTS), stage_(stage), end_(std::move(end))
    {
    }
    void OnStageResult(BootStage stage, const PatchRunResult& result) override
    {
        RecordingObserver::OnStageResult(stage, result);
        if (stage == stage_) {
            end_();
        }
    }

private:
    BootStage stage_;
    std::function<void()> end_;
};

// Keeps what it is told in a buffer.
class BufferingObserver : public RecordingObserver {
public:
    explicit BufferingObserver(FILE* file) : RecordingObserver(REPORTS), file_(file) {}
    void OnStageBegan(BootStage stage) override { std::fprintf(file_, "began %s\n", NameOf(stage)); }
    void OnStageResult(BootStage stage, const PatchRunResult& /*result*/) override
    {
        std::fprintf(file_, "in %s\n", NameOf(stage));
    }

private:
    FILE* file_;
};

class BootTest : public HostedDeviceTest {
protected:
    void SetUp() override
    {
        HostedDeviceTest::SetUp();
        recipe.apps[1].patchType = "cold";
        Place();
    }
    const std::string init_ = "-- init stage\ndone [ready  0|0:47]\nend of init stage: done\n";
    const std::string scan_ = "-- bundle scan\nscanned, com.b updated 2\ndone\nend of bundle scan: done\n";
    const std::string service_ = "-- system-service stage\nloaded\nprogress 1/2\nprogress 2/2\nengine 101 activites\n"
                                 "done [activites patch01 0|0:47;1|0:47;1|1:34]\nend of system-service stage: done\n";
};

TEST_F(BootTest, PlaysItsStagesInTurn)
{
    EXPECT_EQ(Boot(), init_ + scan_ + service_ + "done\n");
    EXPECT_EQ(Boot(), "-- init stage\nnothing: no package is delivered [activites patch01 0|0:47;1|0:47;1|1:34]\n"
                      "end of init stage: nothing\n-- bundle scan\nscanned\ndone\nend of bundle scan: done\n"
                      "-- system-service stage\nnothing: patch patch01 is in force [activites patch01 "
                      "0|0:47;1|0:47;1|1:34]\nend of system-service stage: nothing\nnothing\n");

    // A revoke; com.b does not come back, since its maker has put another factory version there.
    WriteFile("/system/app/com.b/App.vab", Vab{"com.b", 5}.Bytes());
    recipe = PatchRecipe();
    recipe.version = "patch09";
    recipe.action = 2;
    Place();
    EXPECT_EQ(Boot(), "-- init stage\ndone [ready patch01 0|0:47]\nend of init stage: done\n"
                      "-- bundle scan\nscanned, com.b factory 5, com.a restored 1\ndone\nend of bundle scan: done\n"
                      "-- system-service stage\nloaded\nengine 151 activites_failed\nfailed: an application does not "
                      "run the version that the patch asks for [activites_failed patch09 0|0:47;1|0:47;1|1:35]\n"
                      "end of system-service stage: failed\nfailed\n");
}

TEST_F(BootTest, AStageThatDiesEndsTheBootAndTheNextOneFinishesTheWork)
{
    const std::function<void()> ends[] = {[] { raise(SIGKILL); }, [] { _exit(77); }};
    for (const auto& end : ends) {
        std::string before;
        for (const auto& [stage, reports] : {std::pair{BootStage::INIT, init_}, std::pair{BootStage::SCAN, scan_},
                                             std::pair{BootStage::SERVICE, service_}}) {
            SCOPED_TRACE(NameOf(stage));
            MakeDevice();
            recipe.apps[1].patchType = "cold";
            Place();
            EndingObserver observer(stage, end);
            const auto result = RunBoot(port, observer);
            EXPECT_EQ(result.outcome, Outcome::FAILED);
            EXPECT_EQ(result.reason,
                      std::string("the boot ends here: the ") + NameOf(stage) + " did not come to its end");
            EXPECT_EQ(ReadFile(REPORTS), before + reports.substr(0, reports.rfind(' ')) + " died\n");
            before += reports;
            EXPECT_NE(Boot(), "");
            EXPECT_EQ(Versions(), "com.a 2, com.b 2");
        }
    }
}

TEST_F(BootTest, WithoutServicesThereIsNoBoot)
{
    port.refused = ServiceStart::SCAN;
    EXPECT_EQ(Boot(), init_ +
                          "-- bundle scan\nno platform: the services do not start\nend of bundle scan: no platform\n"
                          "failed: the boot ends here: the bundle scan did not come to its end\n");
    port.refused = ServiceStart::ATTACH;
    EXPECT_EQ(Boot(), init_ + scan_ +
                          "-- system-service stage\nno platform: the services do not start\n"
                          "end of system-service stage: no platform\nno platform\n");
    EXPECT_TRUE(Exists(Formats::PACKAGE_PATH));
    port.refused.reset();
    EXPECT_NE(Boot().find("done [activites patch01 "), std::string::npos);
}

TEST_F(BootTest, WhatIsBufferedIsWrittenOnce)
{
    FILE* file = std::fopen("/tmp/buffered", "we");
    ASSERT_NE(file, nullptr);
    BufferingObserver observer(file);
    EXPECT_EQ(RunBoot(port, observer).outcome, Outcome::DONE);
    std::fclose(file);
    EXPECT_EQ(ReadFile("/tmp/buffered"), "began init stage\nin init stage\nbegan bundle scan\nin bundle scan\n"
                                         "began system-service stage\nin system-service stage\n");
}

TEST_F(BootTest, ASignalToTheHostDoesNotEndTheBoot)
{
    struct sigaction quiet = {};
    struct sigaction before = {};
    quiet.sa_handler = [](int) {}; // without SA_RESTART
    sigaction(SIGALRM, &quiet, &before);
    const itimerval often = {{0, 500}, {0, 500}};
    const itimerval never = {};
    setitimer(ITIMER_REAL, &often, nullptr);
    RecordingObserver observer(REPORTS);
    const auto result = RunBoot(port, observer);
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(result.outcome, Outcome::DONE) << result.reason;
}
} // namespace
} // namespace ORVX::TavomendTest
