#include <algorithm>
#include <cctype>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>

#include "formats/device_paths.h"
#include "hosting/delivery.h"
#include "hosting/kept_packages.h"
#include "hosting/requests.h"
#include "hosting/revoke_request.h"
#include "platform/utility/tavomend_status_record.h"
#include "ports/host/host_port.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/patch_builder.h"
#include "tests/support/recording_observer.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using namespace TavomendHosting;

constexpr const char* COLD_FILE = "/data/update/tavomend/app/temp/cold/internal/com.a/App.vab";

class DeliveryTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        PatchFile file;
        file.base = "/system/app/A/App.vab";
        file.oldBytes = "old";
        file.newBytes = "new content";
        PatchApp app;
        app.bundleName = "com.a";
        app.patchType = "cold";
        app.files = {file};
        recipe_.apps = {app};
    }
    // As `tavomend deliver --force` does, with both files on the device already; gives the refusal. Without force, what
    // is refused has changed nothing.
    std::string Bring(const std::string& package, const SigningKey& key)
    {
        const auto before = ListTree("/data");
        const std::string signature = key.Sign(package);
        const auto place = [&] {
            WriteFile(INCOMING_PACKAGE, package);
            WriteFile(INCOMING_SIGNATURE, signature);
        };
        std::string refusal;
        std::string error;
        place();
        if (!Deliver(TavomendHost::HostPort(), Refused::IS_SENT_BACK, refusal, error)) {
            EXPECT_EQ(ListTree("/data"), before) << refusal;
            place();
            EXPECT_TRUE(Deliver(TavomendHost::HostPort(), Refused::IS_DELIVERED, refusal, error)) << error;
        }
        EXPECT_EQ(error, "");
        EXPECT_EQ(ReadFile(Formats::PACKAGE_PATH), package);
        EXPECT_EQ(ReadFile(Formats::SIGN_PATH), signature);
        EXPECT_FALSE(Exists(INCOMING_PACKAGE));
        return refusal;
    }
    std::string Bring(const SigningKey& key) { return Bring(PatchBuilder(recipe_).Package(), key); }
    // The refusal of the configuration with one place of it changed, which must be there.
    std::string BringChanged(const std::string& from, const std::string& to)
    {
        PatchRecipe changed = recipe_;
        changed.configText = PatchBuilder(recipe_).Config();
        const size_t at = changed.configText.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        changed.configText.replace(at, from.size(), to);
        return Bring(PatchBuilder(changed).Package(), key_);
    }
    static mode_t ModeOf(const char* path)
    {
        struct stat info {};
        EXPECT_EQ(stat(path, &info), 0) << path;
        return info.st_mode & 07777U;
    }
    static void SetStatus(const char* word)
    {
        TavomendStatusRecord record;
        record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
        ASSERT_TRUE(record.SetStatus("patch01", word, "1|0:47"));
    }

    const SigningKey key_;
    PatchRecipe recipe_;
};

TEST_F(DeliveryTest, TellsHowFarTheCopyHasComeAndLeavesNoHalfOfIt)
{
    WriteFile("/tmp/package", std::string(100000, 'p'));
    WriteFile("/tmp/signature", "signature");
    std::filesystem::create_directories("/tmp/device");
    RecordingObserver observer("/tmp/reports");
    std::string error;
    EXPECT_TRUE(BringIn({"/tmp/package", "/tmp/signature"}, "/tmp/device", error, &observer)) << error;
    EXPECT_EQ(ReadFile(std::string("/tmp/device") + INCOMING_PACKAGE), ReadFile("/tmp/package"));
    EXPECT_EQ(ModeOf((std::string("/tmp/device") + INCOMING_PACKAGE).c_str()), 0600U); // nobody else reads half of it
    EXPECT_EQ(ReadFile("/tmp/reports"), "copied /tmp/package 65536/100000\ncopied /tmp/package 100000/100000\n");
    EXPECT_FALSE(BringIn({"/tmp/package", "/tmp/none"}, "/tmp/device", error));
    EXPECT_EQ(error, "cannot read /tmp/none: No such file or directory");
    EXPECT_FALSE(Exists(std::string("/tmp/device") + INCOMING_PACKAGE));
    FaultyFileLayer layer;
    layer.FailCall("copy_range", 2, ENOSPC);
    EXPECT_FALSE(BringIn({"/tmp/package", "/tmp/signature"}, "/tmp/device", error));
    EXPECT_EQ(error, "cannot copy /tmp/package to the device: No space left on device");
}

TEST_F(DeliveryTest, LaysColdFilesOutAndLeavesNothingStale)
{
    PatchApp hot = recipe_.apps[0]; // the engine extracts its files itself
    hot.bundleName = "com.hot";
    hot.patchType = "hot";
    recipe_.apps.insert(recipe_.apps.begin(), hot);
    PatchFile companion = recipe_.apps[1].files[0];
    companion.base = "/system/app/appServiceFwk/B/Fwk.vab";
    recipe_.apps[1].files.push_back(companion);
    recipe_.apps[1].appType = 2;
    const std::string fwkFile = "/data/update/tavomend/app/temp/cold/appServiceFwk/com.a/Fwk.vab.diff";
    const std::string ownFile = std::string(COLD_FILE) + ".diff";

    WriteFile(Formats::CONFIG_PATH, "stale");
    WriteFile(std::string(Formats::HOT_WORK_DIR) + "/stale", "stale");
    WriteFile(std::string(Formats::COLD_WORK_DIR) + "/stale", "stale");
    WriteFile(Formats::PACKAGE_PATH, "an earlier package");
    EXPECT_EQ(Bring(key_), "");
    const std::string difference = ReadFile(ownFile);
    EXPECT_EQ(ListTree(Formats::WORK_DIR),
              (std::vector<std::string>{fwkFile + " " + Sha256Hex(difference), ownFile + " " + Sha256Hex(difference)}));
    {
        const FaultyFileLayer layer; // nothing is left to do: the signature is not even looked at
        FinishDelivery();
        const std::string opened = std::string("open ") + Formats::SIGN_PATH;
        EXPECT_EQ(std::count(layer.Calls().begin(), layer.Calls().end(), opened), 0);
    }
    // What a boot has used up comes again; what is there stays.
    std::filesystem::remove(ownFile);
    WriteFile(fwkFile, "changed");
    FinishDelivery();
    EXPECT_EQ(ReadFile(ownFile), difference);
    EXPECT_EQ(ReadFile(fwkFile), "changed");
    // A signature of somebody else's changes nothing.
    std::filesystem::remove(ownFile);
    WriteFile(Formats::SIGN_PATH, SigningKey(SigningKey::Whose::NOBODYS).Sign(ReadFile(Formats::PACKAGE_PATH)));
    FinishDelivery();
    EXPECT_FALSE(Exists(ownFile));
}

TEST_F(DeliveryTest, TrustsNothingThatTheEngineWouldRefuse)
{
    recipe_.apps[0].files[0].isWhole = true; // which a scan would take in as it lies
    const std::string incoming = INCOMING_PACKAGE;
    const std::string member = R"("diff_path": ["/com.a/App.vab"])";
    EXPECT_EQ(Bring(SigningKey(SigningKey::Whose::NOBODYS)), "the signature does not verify");
    EXPECT_EQ(Bring("no archive", key_), incoming + " is no zip archive, or its end is missing");
    EXPECT_EQ(BringChanged(R"("version": 2)", R"("version": 1)"), "com.a: its version is not above its pre-version");
    EXPECT_EQ(BringChanged(R"(["1.0.0"])", R"(["1.0.0.1"])"), "it is not made for base version 1.0.0");
    EXPECT_EQ(BringChanged(member, R"("diff_path": ["com.a/App.vab"])"),
              "the configuration names the member com.a/App.vab without its \"/\"");
    EXPECT_EQ(BringChanged(member, R"("diff_path": ["/com.a/none"])"), incoming + " has no member com.a/none");
    EXPECT_EQ(BringChanged(member, R"("diff_path": ["/../../../../../../tmp/x"])"),
              "/data/update/tavomend/app/temp/cold/internal/../../../../../../tmp/x is not a path below the work "
              "directory");
    recipe_.apps[0].files[0].hash = Sha256Hex("another content");
    EXPECT_EQ(Bring(key_), "/com.a/App.vab does not have the stated hash");
    FinishDelivery(); // which the engine's check would let pass
    EXPECT_TRUE(ListTree(Formats::WORK_DIR).empty());
    std::string upper = Sha256Hex("new content");
    std::transform(upper.begin(), upper.end(), upper.begin(), [](char digit) { return std::toupper(digit); });
    recipe_.apps[0].files[0].hash = upper; // the engine takes it, so its host does
    recipe_.models = R"(["other", "model"])";
    recipe_.baseVersions = R"(["1.0.0.1", "1.0.0"])";
    EXPECT_EQ(Bring(key_), "");
    EXPECT_EQ(ReadFile(COLD_FILE), "new content");
    EXPECT_EQ(ModeOf(COLD_FILE), 0644U);
}

TEST_F(DeliveryTest, ANewPatchEndsAnOlderRevokeOfItsApplications)
{
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.a", "com.b", "com.c"]})");
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, R"({"list": ["com.a"]})");
    EXPECT_EQ(Bring(key_), "");
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "{\n\t\"list\":\t[\"com.b\", \"com.c\"]\n}");
    EXPECT_EQ(ModeOf(Formats::RECOVER_LIST_PATH), 0644U);
    EXPECT_FALSE(Exists(Formats::BACKUP_RECOVER_LIST_PATH));
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.a"]})"); // as a power cut may bring it back
    FinishDelivery();
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
    // Damaged lists, and those that name others, stay as they are.
    for (const char* text : {"damaged", R"({"list": ["com.a", 5]})", R"({"list": ["com.b"]})"}) {
        WriteFile(Formats::RECOVER_LIST_PATH, text);
        EXPECT_TRUE(PruneRecoverLists({"com.a"}));
        EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), text);
    }
    // One that cannot be written now is told of, and finished later: the package is delivered.
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.a", "com.b"]})");
    const std::string package = PatchBuilder(recipe_).Package();
    WriteFile(INCOMING_PACKAGE, package);
    WriteFile(INCOMING_SIGNATURE, key_.Sign(package));
    std::filesystem::create_directory(std::string(Formats::RECOVER_LIST_PATH) + ".new");
    std::string refusal;
    std::string error;
    EXPECT_FALSE(Deliver(TavomendHost::HostPort(), Refused::IS_SENT_BACK, refusal, error));
    EXPECT_EQ(error, "cannot rewrite the recover list");
    EXPECT_TRUE(IsPackageDelivered());
}

TEST_F(DeliveryTest, MendsAPairThatIsSplitByItsStatus)
{
    const std::string delivered = "app.tvpk tavomend_sign.bin";
    const std::string backup = "app.tvpk.bak tavomend_sign.bin.bak";
    struct Case {
        const char* status;
        std::string before;
        std::string after;
    };
    const Case cases[] = {
        {"ready", "app.tvpk.bak tavomend_sign.bin", delivered}, // to be done again
        {"ready", backup, delivered},
        {"activites", "app.tvpk.bak tavomend_sign.bin", backup}, // in force
        {"activites_failed", "app.tvpk tavomend_sign.bin.bak", backup},
        {"activites", delivered, delivered},         // whole: to be applied
        {"activites", "app.tvpk " + backup, backup}, // a backup that is whole is never mixed
        {"ready", "app.tvpk " + backup, delivered},
        {"", "app.tvpk tavomend_sign.bin.bak", "app.tvpk tavomend_sign.bin.bak"},
        {"", "app.tvpk", ""}, // half a pair is none
        {"ready", "tavomend_sign.bin", ""},
        {"activites", "tavomend_sign.bin.bak", ""},
        {"ready", delivered + " app.tvpk.bak", delivered},
        {"idle", backup, ""}, // was cleared
    };
    for (const auto& split : cases) {
        SetUp();
        if (*split.status != '\0') {
            SetStatus(split.status);
        }
        std::istringstream names(split.before);
        for (std::string name; names >> name;) {
            WriteFile(std::string(Formats::PACKAGE_DIR) + "/" + name, name.substr(0, 3));
        }
        RepairPackagePlaces();
        std::string after;
        for (const auto& line : ListTree(Formats::PACKAGE_DIR)) {
            const std::string path = line.substr(0, line.find(' '));
            const std::string name = path.substr(path.rfind('/') + 1);
            EXPECT_EQ(ReadFile(path), name.substr(0, 3));
            after += (after.empty() ? "" : " ") + name;
        }
        EXPECT_EQ(after, split.after) << split.status << ": " << split.before;
    }
}

TEST_F(DeliveryTest, ABorrowedPatchGoesBackAndANewOneStays)
{
    for (const char* version : {"patch01", "patch02"}) {
        DeliveryTest::SetUp();
        SetStatus("activites"); // of patch01
        recipe_.version = version;
        PatchBuilder(recipe_).Deliver(key_);
        RepairPackagePlaces();
        const bool isBorrowed = std::string(version) == "patch01";
        EXPECT_EQ(Exists(Formats::BACKUP_PACKAGE_PATH), isBorrowed);
        EXPECT_EQ(Exists(Formats::BACKUP_SIGN_PATH), isBorrowed);
        EXPECT_EQ(Exists(Formats::PACKAGE_PATH), !isBorrowed);
    }
}

TEST_F(DeliveryTest, WhatIsKeptComesBackWhateverTheRunHasDone)
{
    struct Case {
        std::vector<const char*> removed;
        std::vector<std::pair<const char*, const char*>> renamed;
    };
    const Case cases[] = {
        {{}, {}},
        {{Formats::PACKAGE_PATH, Formats::SIGN_PATH}, {}},
        {{Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH},
         {{Formats::PACKAGE_PATH, Formats::BACKUP_PACKAGE_PATH}, {Formats::SIGN_PATH, Formats::BACKUP_SIGN_PATH}}},
        {{Formats::BACKUP_SIGN_PATH}, {{Formats::PACKAGE_PATH, Formats::BACKUP_PACKAGE_PATH}}},
    };
    for (const bool hasBackup : {true, false}) {
        for (const auto& run : cases) {
            DeliveryTest::SetUp();
            SetStatus("ready");
            WriteFile(Formats::PACKAGE_PATH, "new");
            WriteFile(Formats::SIGN_PATH, "new sign");
            if (hasBackup) {
                WriteFile(Formats::BACKUP_PACKAGE_PATH, "old");
                WriteFile(Formats::BACKUP_SIGN_PATH, "old sign");
            }
            const auto before = ListTree(Formats::PACKAGE_DIR);
            ASSERT_TRUE(KeepPackages());
            for (const char* path : run.removed) {
                std::filesystem::remove(path);
            }
            for (const auto& [from, to] : run.renamed) {
                std::filesystem::rename(from, to);
            }
            RepairPackagePlaces();
            EXPECT_EQ(ListTree(Formats::PACKAGE_DIR), before);
        }
    }
    ASSERT_TRUE(KeepPackages());
    DropKeptPackages();
    std::filesystem::remove(Formats::SIGN_PATH);
    EXPECT_TRUE(PutKeptPackagesBack());
    EXPECT_FALSE(Exists(Formats::SIGN_PATH));
    // Where nothing can be kept, nothing of it is left.
    EXPECT_FALSE(KeepPackages());
    EXPECT_EQ(ListTree(Formats::PACKAGE_DIR).size(), 1U);
}

TEST_F(DeliveryTest, LeftoversGoAndWholeListsStay)
{
    const std::string list = R"({"list": ["com.a"]})";
    WriteFile(Formats::RECOVER_LIST_PATH, list);
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, R"({"list": ["com.a")");
    for (const std::string& path :
         {std::string(INCOMING_PACKAGE), std::string(INCOMING_SIGNATURE) + ".new", std::string(Formats::CONFIG_PATH),
          std::string(REVOKE_REQUEST) + ".new", Formats::HOT_WORK_DIR + std::string("/a.diff")}) {
        WriteFile(path, "left");
    }
    RemoveLeftovers();
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), list);
    EXPECT_EQ(ListTree("/data/update").size(), 1U);
    SetStatus("idle");
    RemoveLeftovers();
    EXPECT_FALSE(Exists(Formats::RECOVER_LIST_PATH));
}
} // namespace
} // namespace ORVX::TavomendTest
