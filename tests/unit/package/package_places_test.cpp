#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

#include "package/package_places.h"
#include "package/tvpk_package_manager.h"
#include "tests/unit/package/package_test.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;
using Formats::BACKUP_PACKAGE_PATH;
using Formats::BACKUP_SIGN_PATH;
using Formats::PACKAGE_PATH;
using Formats::SIGN_PATH;

class PackagePlacesTest : public PackageTest {
protected:
    // "PSps": package, signature and their backups; each file's content is its letter.
    static void Put(const std::string& files)
    {
        std::filesystem::remove_all(Formats::PACKAGE_DIR);
        for (const char letter : files) {
            WriteFile(PathOf(letter), std::string(1, letter));
            std::filesystem::permissions(PathOf(letter), std::filesystem::perms(0644));
        }
    }
    // The contents in the order of the four places, "-" for none.
    static std::string Contents()
    {
        std::string contents;
        for (const char letter : std::string("PSps")) {
            contents += Exists(PathOf(letter)) ? ReadFile(PathOf(letter)) : "-";
        }
        return contents;
    }
    static const char* PathOf(char letter)
    {
        return letter == 'P'   ? PACKAGE_PATH
               : letter == 'S' ? SIGN_PATH
               : letter == 'p' ? BACKUP_PACKAGE_PATH
                               : BACKUP_SIGN_PATH;
    }
    static bool ArePrivate(const std::string& files)
    {
        return std::all_of(files.begin(), files.end(), [](char letter) {
            return std::filesystem::status(PathOf(letter)).permissions() == std::filesystem::perms(0600);
        });
    }

    PackagePlaces places_;
};

TEST_F(PackagePlacesTest, EachOperationTakesItsFilesOnly)
{
    struct Case {
        const char* before;
        bool isPackage;
        bool isBackup;
        bool isNothing;
        const char* cleared;       // after ClearPackage
        const char* backupCleared; // after ClearBackupPackage
        const char* toBackup;
        const char* toPackage;
        const char* whileBorrowed;
    };
    const Case cases[] = {
        {"", false, false, true, "----", "----", "----", "----", "----"},
        {"PS", true, false, false, "----", "PS--", "--PS", "PS--", "PS--"},
        {"ps", false, true, true, "--ps", "----", "--ps", "ps--", "ps--"},
        {"PSps", true, true, false, "--ps", "PS--", "PSps", "PSps", "PSps"},
        {"P", false, false, false, "----", "P---", "--P-", "P---", "P---"},
        {"S", false, false, false, "----", "-S--", "---S", "-S--", "-S--"},
        {"Pps", false, true, false, "--ps", "P---", "P-ps", "Psp-", "P-ps"},
        {"Sps", false, true, false, "--ps", "-S--", "-Sps", "pS-s", "-Sps"},
        {"p", false, false, true, "--p-", "----", "--p-", "p---", "--p-"},
        {"s", false, false, true, "---s", "----", "---s", "-s--", "---s"},
    };
    for (const Case& places : cases) {
        SCOPED_TRACE(places.before);
        Put(places.before);
        const std::string before = Contents();
        EXPECT_EQ(places_.IsPackageExist(), places.isPackage);
        EXPECT_EQ(places_.IsBackupPackageExist(), places.isBackup);
        EXPECT_EQ(places_.IsNothingDelivered(), places.isNothing);
        {
            const BorrowedBackup backup(places_);
            EXPECT_EQ(Contents(), places.whileBorrowed);
        }
        EXPECT_EQ(Contents(), before);
        places_.ClearPackage();
        EXPECT_EQ(Contents(), places.cleared);
        Put(places.before);
        places_.ClearBackupPackage();
        EXPECT_EQ(Contents(), places.backupCleared);
        Put(places.before);
        places_.RenamePackageToBak();
        EXPECT_EQ(Contents(), places.toBackup);
        Put(places.before);
        places_.RenameBakToPackage();
        EXPECT_EQ(Contents(), places.toPackage);
    }
}

TEST_F(PackagePlacesTest, WhatWasMovedIsForItsOwnerAlone)
{
    Put("PS");
    places_.RenamePackageToBak();
    EXPECT_TRUE(ArePrivate("ps"));
    Put("ps");
    places_.RenameBakToPackage();
    EXPECT_TRUE(ArePrivate("PS"));
}

TEST_F(PackagePlacesTest, DirectoriesAreClearedOneByOne)
{
    struct Case {
        void (*clear)();
        std::vector<std::string> left;
    };
    const std::string dir = Formats::WORK_DIR;
    const Case cases[] = {
        {PackagePlaces::RemoveAppConfigFile, {dir + "/cold/a", dir + "/hot/a", dir + "/other"}},
        {PackagePlaces::CleanAppTempColdDir, {dir + "/app_tavomend_config.json", dir + "/hot/a", dir + "/other"}},
        {PackagePlaces::CleanAppTempHotDir, {dir + "/app_tavomend_config.json", dir + "/cold/a", dir + "/other"}},
        {PackagePlaces::ClearAppTempDir, {}},
    };
    for (const Case& clearing : cases) {
        for (const char* name : {"/cold/a", "/hot/a", "/app_tavomend_config.json", "/other"}) {
            WriteFile(dir + name, "x");
        }
        clearing.clear();
        std::vector<std::string> left;
        for (const std::string& line : ListTree(dir)) {
            left.push_back(line.substr(0, line.find(' ')));
        }
        EXPECT_EQ(left, clearing.left);
        EXPECT_TRUE(Exists(dir));
        EXPECT_EQ(Exists(dir + "/hot"), clearing.clear != PackagePlaces::CleanAppTempHotDir && !left.empty());
        EXPECT_EQ(Exists(dir + "/cold"), clearing.clear != PackagePlaces::CleanAppTempColdDir && !left.empty());
    }
}

TEST_F(PackagePlacesTest, WhoeverHoldsThePlacesKeepsOthersOut)
{
    TvpkPackageManager manager;
    Deliver();
    ASSERT_TRUE(manager.PreconditionCheck()); // what has passed asks no place any more, and waits all the same
    const std::function<void()> calls[] = {
        [&] { static_cast<void>(manager.IsPackageExist()); },
        [&] { static_cast<void>(manager.IsBackupPackageExist()); },
        [&] { static_cast<void>(places_.IsNothingDelivered()); },
        [&] { manager.ClearPackage(); },
        [&] { manager.ClearBackupPackage(); },
        [&] { manager.RenamePackageToBak(); },
        [&] { manager.RenameBakToPackage(); },
        [&] { static_cast<void>(manager.PreconditionCheck()); },
        [&] { static_cast<void>(manager.GetTavomendVersion()); },
        [&] { manager.Reset(); },
        [&] { const BorrowedBackup backup = manager.BorrowBackup(); },
    };
    for (const auto& call : calls) {
        Put("");
        auto hold = manager.HoldPackageFiles();
        auto holdToo = places_.Hold();
        std::atomic<bool> isStarted = false;
        std::atomic<bool> isThrough = false;
        std::thread other([&] {
            isStarted = true;
            call();
            isThrough = true;
        });
        // Time enough for a call that does not wait, and no harm done when it is not.
        for (int turns = 0; !isStarted || (turns < 3000 && !isThrough); ++turns) {
            std::this_thread::yield();
        }
        EXPECT_FALSE(isThrough) << &call - calls;
        call(); // the holder itself gets through
        hold.unlock();
        holdToo.unlock();
        other.join();
    }
}

TEST_F(PackagePlacesTest, AMoveIsSeenBeforeOrAfterNeverBetween)
{
    TvpkPackageManager manager;
    Deliver();
    ASSERT_TRUE(manager.PreconditionCheck());
    TavomendStatusRecord record;
    record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
    ASSERT_TRUE(record.SetStatus("patch01", "activites", ""));
    std::atomic<bool> isOver = false;
    std::thread mover([&] {
        while (!isOver) {
            manager.RenamePackageToBak();
            const BorrowedBackup backup = manager.BorrowBackup();
            static_cast<void>(manager.IsPackageExist());
            manager.RenameBakToPackage();
        }
    });
    for (int round = 0; round < 300; ++round) {
        EXPECT_EQ(manager.GetTavomendVersion(), "patch01");
    }
    isOver = true;
    mover.join();
}
} // namespace
} // namespace ORVX::TavomendTest
