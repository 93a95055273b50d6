// What a host tells of a device: from the packages that lie on it, whatever the status record still says.
#include <fcntl.h>
#include <sys/stat.h>

#include "formats/device_paths.h"
#include "hosting/device_view.h"
#include "hosting/kept_packages.h"
#include "hosting/requests.h"
#include "platform/utility/sys_utils.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/vab_builder.h"
#include "tests/unit/hosting/hosted_device.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendHosting;

// "STATE VERSION: PROBLEM"
std::string LineOf(const PackageView& view)
{
    constexpr const char* STATES[] = {"none", "known", "unreadable", "key"};
    return STATES[static_cast<int>(view.state)] + (view.version.empty() ? "" : " " + view.version) +
           (view.problem.empty() ? "" : ": " + view.problem) + (view.refusal.empty() ? "" : ": " + view.refusal);
}

class DeviceViewTest : public HostedDeviceTest {
protected:
    // The recipe as a patch that is in force.
    void Enforce(const char* version = "patch01")
    {
        recipe.version = version;
        Place();
        EXPECT_NE(Apply().find("done"), std::string::npos);
    }
    // A delivered package that does not verify.
    void Refuse() const
    {
        PatchBuilder(PatchRecipe()).Deliver(SigningKey(SigningKey::Whose::NOBODYS));
        EXPECT_NE(Apply().find("failed: the signature does not verify"), std::string::npos);
    }
    void PlaceCold(int action)
    {
        recipe.action = action;
        recipe.version = "patch02";
        recipe.apps[0].patchType = "cold";
        if (action == 2) {
            recipe.apps.clear();
        }
        Place();
    }
};

TEST_F(DeviceViewTest, TellsWhatIsInForceFromTheBackupItself)
{
    struct Case {
        const char* name;
        std::function<void()> prepare;
        std::string inForce;
        std::string pending;
        NextStep next;
        std::string version; // or why there is none to tell
    };
    const std::string noKey = "no usable public key in /etc/certificate/zkkey_tvpk_v1.pem: No such file or directory";
    const std::string noArchive = " is no zip archive, or its end is missing";
    const Case cases[] = {
        {"a new device", [] {}, "none", "none", NextStep::DELIVER, "patch00"},
        {"hot", [this] { Place(); }, "none", "known patch01", NextStep::APPLY, "patch01"},
        {"cold", [this] { PlaceCold(0); }, "none", "known patch02", NextStep::BOOT, "patch02"},
        {"revoke", [this] { PlaceCold(2); }, "none", "known patch02", NextStep::BOOT, "patch02"},
        {"in force", [this] { Enforce(); }, "known patch01", "none", NextStep::NOTHING, "patch01"},
        {"after a refusal",
         [this] {
             Enforce();
             Refuse();
         },
         "known patch01", "none", NextStep::DELIVER, "patch01"},
        {"a record that is gone",
         [this] {
             Enforce();
             std::filesystem::remove_all(Formats::STATUS_DIR);
         },
         "known patch01", "none", NextStep::NOTHING, "patch01"},
        {"damaged",
         [this] {
             Enforce();
             WriteFile(Formats::BACKUP_PACKAGE_PATH, "broken");
         },
         "unreadable: " + std::string(Formats::BACKUP_PACKAGE_PATH) + noArchive, "none", NextStep::DELIVER,
         "the patch in force cannot be read: " + std::string(Formats::BACKUP_PACKAGE_PATH) + noArchive},
        {"an empty signature",
         [this] {
             Place();
             WriteFile(Formats::SIGN_PATH, "");
         },
         "none", "unreadable: " + std::string(Formats::SIGN_PATH) + " is no signature", NextStep::DELIVER,
         "the delivered package cannot be read: " + std::string(Formats::SIGN_PATH) + " is no signature"},
        {"somebody else's key", [this] { PatchBuilder(recipe).Deliver(SigningKey(SigningKey::Whose::NOBODYS)); },
         "none", "key: the signature does not verify", NextStep::DELIVER,
         "the key does not fit the delivered package: the signature does not verify"},
        {"no key",
         [this] {
             Enforce();
             std::filesystem::remove(Formats::PUBLIC_KEY_PATH);
         },
         "key: " + noKey, "none", NextStep::DELIVER, "the key does not fit the patch in force: " + noKey},
        {"another base version",
         [this] {
             recipe.baseVersions = R"(["2.0.0"])";
             Place();
         },
         "none", "known patch01: it is not made for base version 1.0.0", NextStep::DELIVER,
         "this device does not take the delivered package: it is not made for base version 1.0.0"},
        {"a query that was cut short",
         [this] {
             Enforce();
             std::filesystem::rename(Formats::BACKUP_PACKAGE_PATH, Formats::PACKAGE_PATH);
             std::filesystem::rename(Formats::BACKUP_SIGN_PATH, Formats::SIGN_PATH);
         },
         "known patch01", "none", NextStep::NOTHING, "patch01"},
        {"an apply that was cut short",
         [this] {
             Enforce();
             recipe.version = "patch02";
             Place();
             ASSERT_TRUE(KeepPackages());
             std::filesystem::rename(Formats::PACKAGE_PATH, Formats::BACKUP_PACKAGE_PATH);
             std::filesystem::rename(Formats::SIGN_PATH, Formats::BACKUP_SIGN_PATH);
         },
         "known patch01", "known patch02", NextStep::APPLY, "patch02"},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        MakeDevice();
        entry.prepare();
        const auto before = ListTree("/data/update");
        const DeviceView view = ViewDevice(port);
        EXPECT_EQ(LineOf(view.inForce), entry.inForce);
        EXPECT_EQ(LineOf(view.pending), entry.pending);
        EXPECT_EQ(view.next, entry.next);
        const VersionResult version = AskVersion();
        EXPECT_EQ(version.reason.empty() ? version.version : version.reason, entry.version);
        EXPECT_EQ(ListTree("/data/update"), before);
    }
}

TEST_F(DeviceViewTest, KnowsSinceWhenWhateverQueriesAndRefusalsDo)
{
    Place();
    constexpr timespec LONG_AGO[] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, Formats::PACKAGE_PATH, LONG_AGO, 0), 0); // when it was made, or delivered
    EXPECT_NE(Apply().find("done"), std::string::npos);
    EXPECT_GT(ViewPackages().since, 1000);
    ASSERT_EQ(utimensat(AT_FDCWD, Formats::BACKUP_PACKAGE_PATH, LONG_AGO, 0), 0);
    EXPECT_EQ(Play([this](IHostObserver&) { return std::to_string(AskInfo(port).fixed.size()); }), "2\n");
    Refuse();
    EXPECT_EQ(ViewPackages().since, 1000);
}

TEST_F(DeviceViewTest, TellsAPatchThatHasNotAllArrivedAndWhyNothingVerifies)
{
    recipe.apps[0].files[0].hash = Sha256Hex("another content");
    Place();
    EXPECT_NE(Apply().find("failed"), std::string::npos);
    EXPECT_FALSE(ViewDevice(port).isWhole);
    Refuse(); // the record tells of that now
    EXPECT_TRUE(ViewDevice(port).isWhole);
    EXPECT_EQ(ViewDevice(port).record.explanation, "the signature does not verify (100|20)");
    std::filesystem::remove(Formats::PUBLIC_KEY_PATH);
    EXPECT_EQ(ViewDevice(port).record.explanation.find("no usable public key in /etc/"), 0U);
}

// Versions are to blame only where they were compared.
TEST_F(DeviceViewTest, ARevokeSaysWhatKeptItFromItsWork)
{
    PlaceCold(2);
    EXPECT_NE(Boot().find("failed: there is no patch to take back ["), std::string::npos);
    MakeDevice();
    Enforce();
    PlaceCold(2);
    {
        FaultyFileLayer layer;
        layer.FailCall("rename", 1, EIO); // of the recover list
        EXPECT_EQ(Load(TavomendEngine::RUNNING_STAGE_INIT).find("failed: the engine has recorded no reason ["), 0U);
    }
    WriteFile("/system/app/com.a/App.vab", Vab{"com.a", 5}.Bytes()); // the device's maker has put another one there
    EXPECT_NE(Boot().find("failed: an application does not run the version that the patch asks for ["),
              std::string::npos);
}
} // namespace
} // namespace ORVX::TavomendTest
