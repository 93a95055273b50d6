#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "handles/unique_descriptor.h"
#include "platform/api/bundle_mgr.h"
#include "platform/api/system_ability_manager.h"
#include "ports/host/boot_scan.h"
#include "ports/host/host_platform.h"
#include "tests/support/device_fixture.h"
#include "tests/support/install_verdict.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendHost;

constexpr const char* COLD = "/data/update/tavomend/app/temp/cold/internal/";
constexpr const char* RECOVER_LIST = "/data/update/tavomend/app/temp/tavomend_app_recover.json";

class BootScanTest : public DeviceTest {
protected:
    void SetUp() override
    {
        platform_.reset();
        DeviceTest::SetUp();
        std::string error;
        ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
        WriteFile("/system/app/A/A.vab", a_.Bytes());
        WriteFile("/system/app/A/F.vab", feature_.Bytes());
        WriteFile("/system/app/B/B.vab", b_.Bytes());
        EXPECT_EQ(Scan(), "com.a factory 1; com.b factory 1; ");
    }
    // Starts the platform anew and tells what its scan did: "BUNDLE ACTION VERSION; ".
    std::string Scan()
    {
        std::string error;
        platform_.reset();
        platform_ = HostPlatform::Start(ServiceStart::SCAN, error);
        EXPECT_NE(platform_, nullptr) << error;
        return TextOf(platform_->GetScanReport());
    }
    static std::string TextOf(const ScanReport& report)
    {
        std::string text;
        for (const auto& entry : report.entries) {
            text += entry.bundleName + " " + entry.action + " " +
                    (entry.reason.empty() ? std::to_string(entry.versionCode) : "(" + entry.reason + ")") + "; ";
        }
        return text;
    }
    uint32_t VersionOf(const std::string& name)
    {
        const auto bundles = platform_->ListBundles().value();
        for (const auto& bundle : bundles) {
            if (bundle.bundleName == name) {
                return bundle.versionCode;
            }
        }
        return 0;
    }
    void InstallB(uint32_t version)
    {
        WriteFile("/tmp/b.vab", b_.At(version).Bytes());
        const auto service = iface_cast<IBundleMgr>(
            SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->GetSystemAbility(401));
        ASSERT_EQ(InstallAndWait(*service, {"/tmp/b.vab"}, 100).first, 0);
    }

    const Vab a_{"com.a"};
    const Vab feature_{"com.a", 1, "feature"};
    const Vab b_{"com.b"};
    std::unique_ptr<HostPlatform> platform_;
};

TEST_F(BootScanTest, TakesColdPackagesInOnlyWhenNewerAndWhole)
{
    WriteFile(std::string(COLD) + "com.a/A.vab", a_.At(2).Bytes());
    EXPECT_EQ(Scan(), "com.a skipped (module feature of com.a is missing from the files); ");
    WriteFile(std::string(COLD) + "com.a/F.vab", feature_.At(2).Bytes().substr(0, 60));
    EXPECT_NE(Scan().find("F.vab is no zip archive"), std::string::npos);
    EXPECT_EQ(VersionOf("com.a"), 1U);
    EXPECT_TRUE(Exists(std::string(COLD) + "com.a/F.vab"));

    WriteFile(std::string(COLD) + "com.a/F.vab", feature_.At(2).Bytes());
    WriteFile(std::string(COLD) + "com.a/F.vab.diff", "a difference");
    WriteFile(std::string(COLD) + "com.c/C.vab", Vab{"com.c", 2}.Bytes());
    WriteFile(std::string(COLD) + "com.b/B.vab", b_.Bytes()); // no newer than what runs
    EXPECT_EQ(Scan(), "com.a updated 2; com.c skipped (com.c is not installed); ");
    EXPECT_EQ(Scan(), "com.c skipped (com.c is not installed); "); // the same again
    EXPECT_EQ(VersionOf("com.a"), 2U);
    EXPECT_EQ(VersionOf("com.b"), 1U);
}

TEST_F(BootScanTest, BringsRevokedApplicationsBack)
{
    InstallB(2);
    WriteFile(RECOVER_LIST, R"({"list": ["com.b", "com.none"]})");
    WriteFile(std::string(RECOVER_LIST) + ".bak", R"({"list": ["com.a"]})");
    EXPECT_EQ(Scan(), ""); // the backup copy goes first, and names what is at its factory version
    EXPECT_EQ(VersionOf("com.b"), 2U);
    std::filesystem::remove(std::string(RECOVER_LIST) + ".bak");
    EXPECT_EQ(Scan(), "com.b restored 1; ");
    EXPECT_EQ(VersionOf("com.b"), 1U);
    EXPECT_TRUE(ListTree("/data/app").empty());
    EXPECT_EQ(Scan(), "");
    WriteFile(RECOVER_LIST, R"({"list": ["com.b")");
    EXPECT_EQ(Scan(), " skipped (the recover list is damaged); ");
}

TEST_F(BootScanTest, FollowsTheFactoryAndCleansUpWhatAPowerCutLeft)
{
    InstallB(2);
    const auto before = ListTree("/data/app");
    WriteFile("/data/app/.staging/entry.vab", "half");
    std::string error;
    platform_.reset();
    platform_ = HostPlatform::Start(ServiceStart::ATTACH, error);
    EXPECT_EQ(ListTree("/data/app").size(), 3U);                 // a look at a device changes nothing
    WriteFile("/data/app/com.b/v3/entry.vab", b_.At(3).Bytes()); // in place, and not in the store
    WriteFile("/data/app/com.gone/v1/entry.vab", "x");
    EXPECT_EQ(Scan(), "");
    EXPECT_EQ(ListTree("/data/app"), before);
    EXPECT_EQ(VersionOf("com.b"), 2U);

    WriteFile("/system/app/B/B.vab", b_.At(3).Bytes()); // a system update overtakes the installed one
    std::filesystem::remove_all("/system/app/A");
    EXPECT_EQ(Scan(), "com.b factory 3; com.a skipped (its factory files are gone); ");
    EXPECT_EQ(VersionOf("com.b"), 3U);
    EXPECT_EQ(VersionOf("com.a"), 0U);
    EXPECT_TRUE(ListTree("/data/app").empty());
}
// What a scan does with each application when a factory file is damaged, gone, or of another set.
TEST_F(BootScanTest, AFactoryFileThatCannotBeReadIsNotGone)
{
    const std::string unread = "/system/app/A/F.vab is no zip archive, or its end is missing";
    const struct {
        const char* name;
        std::function<void()> change;
        std::string scan;
        uint32_t versionOfA;
        uint32_t versionOfB;
    } cases[] = {
        {"one of two files", [] { WriteFile("/system/app/A/F.vab", "damaged"); },
         " skipped (" + unread +
             "); com.a skipped (a file beside its own could not be read); com.a skipped (its "
             "factory files could not be read; it stays as it is); ",
         1, 2},
        {"one of two files of a newer version",
         [this] {
             WriteFile("/system/app/A/A.vab", a_.At(3).Bytes());
             WriteFile("/system/app/A/F.vab", "damaged");
         },
         " skipped (" + unread +
             "); com.a skipped (a file beside its own could not be read); com.a skipped (its "
             "factory files could not be read; it stays as it is); ",
         1, 2},
        {"two files of one module", [this] { WriteFile("/system/app/A/F.vab", a_.Bytes()); },
         "com.a skipped (/system/app/A/F.vab is a second file of module entry); com.a skipped (its factory files could "
         "not be read; it stays as it is); ",
         1, 2},
        {"the factory file of an updated application", [] { WriteFile("/system/app/B/B.vab", "damaged"); },
         " skipped (/system/app/B/B.vab is no zip archive, or its end is missing); ", 1, 2},
        {"it is gone", [] { std::filesystem::remove("/system/app/B/B.vab"); }, "", 1, 2},
        {"both are gone", [] { std::filesystem::remove_all("/system/app/A"); },
         "com.a skipped (its factory files are gone); ", 0, 2},
        {"beside others that cannot be read",
         [] {
             std::filesystem::remove_all("/system/app/A");
             WriteFile("/system/app/B/B.vab", "damaged");
         },
         " skipped (/system/app/B/B.vab is no zip archive, or its end is missing); com.a skipped (its factory files "
         "are gone); ",
         0, 2},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        SetUp();
        InstallB(2);
        platform_.reset();
        entry.change();
        EXPECT_EQ(Scan(), entry.scan);
        EXPECT_EQ(VersionOf("com.a"), entry.versionOfA);
        EXPECT_EQ(VersionOf("com.b"), entry.versionOfB);
        const bool isGone = !Exists("/system/app/B/B.vab");
        EXPECT_EQ(platform_->ListBundles()->back().factoryVersion.has_value(), !isGone);
        EXPECT_EQ(ReadFile("/data/app/com.b/v2/installed.json").find("factoryVersion") == std::string::npos, isGone);
    }
}

// Tells which files in a directory are opened, in their order.
class OpenWatch {
public:
    OpenWatch() : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        for (const char* directory : {"/system/app/A", "/system/app/B"}) {
            EXPECT_GE(inotify_add_watch(events_.Get(), directory, IN_OPEN), 0);
        }
    }
    [[nodiscard]] std::string Opened() const
    {
        std::string names;
        alignas(inotify_event) char room[4096];
        for (ssize_t size = 0; (size = read(events_.Get(), room, sizeof(room))) > 0;) {
            for (ssize_t at = 0; at < size;) {
                const auto* event = reinterpret_cast<const inotify_event*>(room + at);
                const std::string name = event->len > 0 ? event->name : "";
                names += (event->mask & IN_ISDIR) != 0 || names.find(name) != std::string::npos ? "" : name + " ";
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
        return names;
    }

private:
    Handles::UniqueDescriptor events_;
};

class FactoryMemoryTest : public BootScanTest {
protected:
    // A scan at a time when today's files are no longer new; gives what it did, and in `opened` what it read.
    static std::string ScanLater(std::string& opened, time_t later = 3600)
    {
        StoreFault fault;
        const auto store = BundleStore::Open(BUNDLE_STORE_PATH, fault);
        EXPECT_NE(store, nullptr) << fault.text;
        const OpenWatch watch;
        auto memory = std::make_unique<FactoryMemory>(FACTORY_MEMORY_PATH, timespec{time(nullptr) + later, 0});
        const ScanReport report = BootScan(store, std::make_shared<BundlePlacer>(store), std::move(memory)).Run();
        opened = watch.Opened();
        return TextOf(report);
    }
    // Other bytes under the same name, size and time of modification.
    static void Replace(const std::string& path, const std::string& bytes)
    {
        struct stat before {};
        ASSERT_EQ(stat(path.c_str(), &before), 0);
        ASSERT_EQ(static_cast<size_t>(before.st_size), bytes.size());
        WriteFile(path, bytes);
        const timespec times[] = {before.st_atim, before.st_mtim};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
    static std::string StampOf(const std::string& path)
    {
        struct stat is {};
        EXPECT_EQ(stat(path.c_str(), &is), 0);
        std::ostringstream text;
        text << is.st_size << " f " << is.st_mtim.tv_sec << "." << is.st_mtim.tv_nsec << " " << is.st_ctim.tv_sec << "."
             << is.st_ctim.tv_nsec << " " << is.st_ino << " " << is.st_dev;
        return text.str();
    }
};

TEST_F(FactoryMemoryTest, AFactoryFileIsReadOnceAndAgainWhenItMayHaveChanged)
{
    const std::string all = "A.vab F.vab B.vab ";
    const std::string path = "/system/app/B/B.vab";
    const struct {
        const char* name;
        std::function<void()> change;
        std::string opened;
        std::string scan;
    } cases[] = {
        {"nothing has changed", [] {}, "", ""},
        {"a time", [&] { ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), nullptr, 0), 0); }, "B.vab ", ""},
        {"the bytes alone", [&] { Replace(path, b_.At(3).Bytes()); }, "B.vab ", "com.b factory 3; "},
        {"another file in its place",
         [&] {
             WriteFile("/system/new.vab", b_.Bytes());
             std::filesystem::rename(path, "/system/old.vab");
             Replace("/system/old.vab", b_.At(4).Bytes());
             std::filesystem::rename("/system/old.vab", path);
         },
         "B.vab ", "com.b factory 4; "},
        {"a damaged file", [&] { WriteFile(path, "damaged"); }, "B.vab ",
         " skipped (" + path +
             " is no zip archive, or its end is missing); com.b skipped (its factory files could not be read; it stays "
             "as it is); "},
        {"one file more", [&] { WriteFile("/system/app/B/C.vab", Vab{"com.c"}.Bytes()); }, "C.vab ",
         "com.c factory 1; "},
        {"one file less", [&] { std::filesystem::remove(path); }, "", "com.b skipped (its factory files are gone); "},
        {"the system's version", [] { WriteFile("/etc/os-release", "VERSION_ID=1.0.1\n"); }, all, ""},
        {"no memory", [] { std::filesystem::remove(FACTORY_MEMORY_PATH); }, all, ""},
        {"a damaged memory",
         [] {
             std::string text = ReadFile(FACTORY_MEMORY_PATH);
             text[text.size() / 2] ^= 1;
             WriteFile(FACTORY_MEMORY_PATH, text);
         },
         all, ""},
        {"a memory of zeros",
         [] { WriteFile(FACTORY_MEMORY_PATH, std::string(ReadFile(FACTORY_MEMORY_PATH).size(), '\0')); }, all, ""},
        {"a memory of another kind", [] { WriteFile(FACTORY_MEMORY_PATH, Sha256Hex("2") + "2"); }, all, ""},
        {"an application goes back to them",
         [this] {
             InstallB(2);
             WriteFile(RECOVER_LIST, R"({"list": ["com.b"]})");
         },
         "B.vab ", "com.b restored 1; "},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.name);
        SetUp();
        std::string opened;
        EXPECT_EQ(ScanLater(opened), "");
        EXPECT_EQ(opened, all); // new when they were read by the first scan
        entry.change();
        EXPECT_EQ(ScanLater(opened), entry.scan);
        EXPECT_EQ(opened, entry.opened);
        const bool isDamaged = entry.name == std::string("a damaged file");
        const std::string stamp = Exists(FACTORY_MEMORY_PATH) ? StampOf(FACTORY_MEMORY_PATH) : "";
        const std::string beside = std::string(FACTORY_MEMORY_PATH) + ".new"; // a boot's whose power was cut
        WriteFile(beside, "");
        EXPECT_EQ(ScanLater(opened), isDamaged ? entry.scan : "");
        EXPECT_FALSE(Exists(beside));
        EXPECT_EQ(opened, isDamaged ? entry.opened : "");
        EXPECT_EQ(StampOf(FACTORY_MEMORY_PATH), stamp); // nothing to write
        platform_.reset();
    }
    std::string opened;
    EXPECT_EQ(ScanLater(opened, 0), "");
    EXPECT_EQ(opened, "");
}

// Damage that no stamp shows: nobody is made to run it.
TEST_F(FactoryMemoryTest, ADamagedFileGoesIntoNoUse)
{
    const std::string path = "/system/app/B/B.vab";
    const std::pair<std::string, std::string> cases[] = {
        {std::string(b_.Bytes().size(), 'x'), path + " is no zip archive, or its end is missing"},
        {b_.At(3).Bytes(), path + " has changed and kept its times"},
    };
    for (const auto& [bytes, message] : cases) {
        SetUp();
        std::string opened;
        EXPECT_EQ(ScanLater(opened), "");
        InstallB(2);
        const std::string before = StampOf(path);
        WriteFile(path, bytes);
        std::string text = ReadFile(FACTORY_MEMORY_PATH).substr(64);
        text.replace(text.find(before), before.size(), StampOf(path));
        WriteFile(FACTORY_MEMORY_PATH, Sha256Hex(text) + text);
        EXPECT_EQ(ScanLater(opened), "");
        EXPECT_EQ(opened, "");
        WriteFile(RECOVER_LIST, R"({"list": ["com.b"]})");
        EXPECT_EQ(ScanLater(opened), " skipped (" + message +
                                         "); com.b skipped (its factory files could not be read; it stays as it is); ");
        EXPECT_EQ(opened, "B.vab ");
        EXPECT_EQ(VersionOf("com.b"), 2U);
        platform_.reset();
    }
}
} // namespace
} // namespace ORVX::TavomendTest
