// A boot whose processes end at some line of the log, each line in turn: the next boot finishes the work.
#include <atomic>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "hosting/boot.h"
#include "ports/host/host_log.h"
#include "ports/host/host_platform.h"
#include "ports/host/host_port.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
#include "tests/support/recording_observer.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHost::HostPlatform;
using TavomendHosting::Outcome;

constexpr int SHARDS = 4;
constexpr int NEVER = 1 << 30;

// Shared with the stages' processes: a line counter, and the line at which everything ends.
struct Fuse {
    std::atomic<int> lines;
    std::atomic<int> end;
};

class CutShortBootTest : public DeviceTest, public testing::WithParamInterface<int> {
protected:
    CutShortBootTest()
        : fuse_(static_cast<Fuse*>(
              mmap(nullptr, sizeof(Fuse), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
    }
    ~CutShortBootTest() override
    {
        TavomendHost::HostLog::SetListener(nullptr);
        munmap(fuse_, sizeof(Fuse));
    }

    // A device with a hot and a cold application, a patch for both delivered.
    void MakeDevice()
    {
        fuse_->lines = 0;
        fuse_->end = NEVER;
        DeviceTest::SetUp();
        TavomendHost::HostLog::SetListener([fuse = fuse_](int32_t, const std::string&) {
            if (++fuse->lines >= fuse->end) {
                _exit(77); // and every later process at its first line: the device is off
            }
        });
        std::string error;
        ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
        WriteFile("/etc/certificate/zkkey_tvpk_v1.pem", key_.PublicPem());
        PatchRecipe recipe;
        for (const char* name : {"com.hot", "com.cold"}) {
            PatchApp app;
            app.bundleName = name;
            app.patchType = std::string(name).substr(4);
            for (const char* module : {"entry", "feature"}) {
                const Vab vab{name, 1, module, "", std::string("the code of ") + name};
                PatchFile file;
                file.base = std::string("/system/app/") + name + "/" + module + ".vab";
                file.oldBytes = vab.Bytes();
                file.newBytes = vab.At(2).Bytes();
                WriteFile(file.base, file.oldBytes);
                app.files.push_back(file);
            }
            recipe.apps.push_back(app);
        }
        ASSERT_NE(HostPlatform::Start(ServiceStart::SCAN, error), nullptr) << error;
        PatchBuilder(recipe).Deliver(key_);
    }
    // A boot that ends at the given line; true when it came to its end before.
    bool BootUntil(int line)
    {
        fuse_->lines = 0;
        fuse_->end = line;
        RecordingObserver observer("/tmp/reports");
        outcome_ = TavomendHosting::RunBoot(TavomendHost::HostPort(), observer).outcome;
        const bool isWhole = fuse_->lines < line;
        fuse_->end = NEVER;
        return isWhole;
    }
    static std::string StateOfDevice()
    {
        std::string error;
        std::string text;
        const auto platform = HostPlatform::Start(ServiceStart::ATTACH, error);
        const auto bundles = platform->ListBundles().value();
        for (const auto& bundle : bundles) {
            text += bundle.bundleName + " " + std::to_string(bundle.versionCode) + ", ";
        }
        const std::string record = ReadFile("/data/update/tavomend/app/status/app");
        return text + record.substr(record.find("version="), record.find("detail=") - record.find("version="));
    }

    Fuse* fuse_;
    const SigningKey key_;
    Outcome outcome_ = Outcome::FAILED;
};

TEST_P(CutShortBootTest, TheNextBootFinishesTheWork)
{
    bool isWhole = false;
    int cuts = 0;
    for (int line = 1 + GetParam(); !isWhole; line += SHARDS) {
        MakeDevice();
        isWhole = BootUntil(line);
        cuts += isWhole ? 0 : 1;
        BootUntil(NEVER);
        EXPECT_TRUE(outcome_ == Outcome::DONE || outcome_ == Outcome::NOTHING) << "cut at line " << line;
        EXPECT_EQ(StateOfDevice(), "com.cold 2, com.hot 2, version=patch01\nstatus=activites\n")
            << "cut at line " << line;
        EXPECT_FALSE(Exists("/data/update/tavomend/package/app.tvpk")) << line;
        EXPECT_TRUE(Exists("/data/update/tavomend/package/app.tvpk.bak")) << line;
        BootUntil(NEVER);
        EXPECT_EQ(outcome_, Outcome::NOTHING) << "cut at line " << line;
    }
    EXPECT_GT(cuts, 20);
}

INSTANTIATE_TEST_SUITE_P(Lines, CutShortBootTest, testing::Range(0, SHARDS));
} // namespace
} // namespace ORVX::TavomendTest
