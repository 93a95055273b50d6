#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "package/package_places.h"
#include "package/tvpk_package_manager.h"
#include "tests/support/planted_links.h"
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
        }
    }
    // The contents in the order of the four places, "-" for none.
    static std::string Contents()
    {
        std::string contents;
        for (const char letter : std::string("PSps")) {
            const std::string content = Exists(PathOf(letter)) ? ReadFile(PathOf(letter)) : "-";
            contents += content;
            if (content != "-" && content[0] != letter) { // what was moved is for its owner alone
                EXPECT_EQ(std::filesystem::status(PathOf(letter)).permissions(), std::filesystem::perms(0600));
            }
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
        {"Pps", false, true, false, "--ps", "P---", "P-ps", "Psp-", "P-ps"},
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

TEST_F(PackagePlacesTest, WhatALinkLeadsToKeepsItsMode)
{
    for (const Plant plant : {Plant::LINK_TO_DIRECTORY, Plant::LINK_TO_FILE}) {
        const PlantedLink link(plant, PACKAGE_PATH);
        places_.RenameBakToPackage();
        places_.ClearPackage();
        EXPECT_TRUE(link.IsUntouched()) << static_cast<int>(plant);
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
