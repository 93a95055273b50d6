// FileUtils over a file layer that fails, call by call, and loses what was not flushed.
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>

#include "platform/utility/file_utils.h"
#include "platform/utility/json_tool.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"

namespace ORVX::TavomendTest {
namespace {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;

// Everything below /data: a path, its mode and a file's content.
using Tree = std::map<std::string, std::string>;

Tree DataTree()
{
    Tree tree;
    for (const auto& entry : fs::recursive_directory_iterator("/data")) {
        struct stat status {};
        EXPECT_EQ(lstat(entry.path().c_str(), &status), 0);
        tree[entry.path().string()] =
            std::to_string(status.st_mode) + (S_ISREG(status.st_mode) ? ReadFile(entry.path().string()) : "");
    }
    return tree;
}

struct Operation {
    const char* name;
    std::function<bool()> run;
    bool isFlushed; // what it did is on the disk when it returns
};

const Operation OPERATIONS[] = {
    {"replace in new directories", [] { return FileUtils::ReplaceFile("/data/a/b/file", "new", 0640); }, true},
    {"replace by a copy", [] { return FileUtils::ReplaceFileByCopy("/data/source/two", "/data/dir/file", 0600); },
     true},
    {"copy a tree", [] { return FileUtils::CopyDir("/data/source", "/data/target"); }, true},
    {"make directories", [] { return FileUtils::MakeDirs("/data/x/y/z"); }, true},
    {"remove a directory", [] { return FileUtils::CleanDir("/data/source", true); }, false},
    {"rename", [] { return FileUtils::RenameFile("/data/source/two", "/data/dir/two"); }, false},
};

class FileUtilsFaultTest : public DeviceTest {
protected:
    // A device, and the layer over it.
    FaultyFileLayer& Prepare()
    {
        layer_.reset();
        fs::remove_all("/data");
        WriteFile("/data/dir/file", "old");
        WriteFile("/data/source/a/one", "one");
        WriteFile("/data/source/two", "two, changed");
        fs::permissions("/data/source/two", fs::perms(0751));
        WriteFile("/data/target/two", "two");
        WriteFile("/data/target/kept", "kept");
        before_ = DataTree();
        layer_ = std::make_unique<FaultyFileLayer>();
        layer_->LimitBytes(5);
        return *layer_;
    }

    // What is there is old or new, and nothing that is in both is missing.
    void ExpectOldOrNew(const Tree& after, const std::string& what) const
    {
        const Tree now = DataTree();
        for (const auto& [path, state] : now) {
            const auto old = before_.find(path);
            const auto fresh = after.find(path);
            const bool isOld = old != before_.end() && old->second == state;
            const bool isNew = fresh != after.end() && fresh->second == state;
            EXPECT_TRUE(isOld || isNew) << what << ": " << path << " is " << state;
        }
        for (const auto& [path, state] : before_) {
            EXPECT_TRUE(now.count(path) + (after.count(path) == 0 ? 1 : 0) != 0) << what << ": no " << path;
        }
    }

    Tree before_;
    std::unique_ptr<FaultyFileLayer> layer_;
};

// A failing look at what is there may be made good by the call behind it, and closing what was only read loses nothing.
bool MayFailUnseen(const std::string& call)
{
    return call.rfind("stat ", 0) == 0 || (call.rfind("close ", 0) == 0 && call.find(".new") == std::string::npos);
}

TEST_F(FileUtilsFaultTest, WhereverACallFailsOrThePowerGoesTheStateIsOldOrNewAndTheResultSaysSo)
{
    for (const Operation& operation : OPERATIONS) {
        FaultyFileLayer& whole = Prepare();
        ASSERT_TRUE(operation.run()) << operation.name;
        const std::vector<std::string> calls = whole.Calls();
        const Tree after = DataTree();
        whole.CutPower();
        EXPECT_EQ(DataTree(), operation.isFlushed ? after : before_) << operation.name;
        for (size_t n = 1; n <= calls.size(); ++n) {
            std::string what = std::string(operation.name) + ", failing " + calls[n - 1];
            Prepare().FailCall(n, EIO);
            const bool isDone = operation.run();
            EXPECT_TRUE(!isDone || (MayFailUnseen(calls[n - 1]) && DataTree() == after)) << what;
            ExpectOldOrNew(after, what);
            layer_->Forget();
            EXPECT_TRUE(operation.run() || std::string("rename") == operation.name) << what << ", and once more";
            EXPECT_EQ(DataTree(), after) << what << ", and once more";

            what += ", for good";
            Prepare().FailFrom(n);
            static_cast<void>(operation.run());
            layer_->CutPower();
            ExpectOldOrNew(after, what);
            EXPECT_TRUE(operation.run()) << what;
            EXPECT_EQ(DataTree(), after) << what << ", and once more";
        }
    }
}

// Where the last read put what it read.
class WatchedLayer : public FaultyFileLayer {
public:
    ssize_t Read(int file, void* room, size_t size) override
    {
        room_ = room;
        return FaultyFileLayer::Read(file, room, size);
    }
    void* room_ = nullptr;
};

TEST_F(FileUtilsFaultTest, AFileIsReadIntoWhatIsGivenBackUpToASize)
{
    WriteFile("/data/large", std::string(1000, 'x'));
    WatchedLayer layer;
    const std::string content = FileUtils::GetFileStream("/data/large", 1000);
    EXPECT_EQ(content.size(), 1000U);
    EXPECT_EQ(content.data(), layer.room_); // and not copied
    layer.room_ = nullptr;
    EXPECT_EQ(FileUtils::GetFileStream("/data/large", 999), "");
    EXPECT_EQ(layer.room_, nullptr); // not even begun
}

TEST_F(FileUtilsFaultTest, AFileIsReadWholeOrNotAtAllAndAFullDiskEnds)
{
    const std::pair<const char*, int> cases[] = {{"copy_range", 0}, {"read", EXDEV}, {"write", ENOSYS}};
    for (const auto& [kind, error] : cases) { // by reading and writing, where the system cannot copy
        for (const bool isRepeated : {true, false}) {
            Prepare().FailCall(kind, 2, isRepeated ? EINTR : EIO);
            if (error != 0) {
                layer_->FailCall("copy_range", 1, error);
            }
            EXPECT_EQ(FileUtils::ReplaceFileByCopy("/data/source/two", "/data/dir/file", 0600), isRepeated) << kind;
            EXPECT_EQ(ReadFile("/data/dir/file"), isRepeated ? "two, changed" : "old") << kind;
        }
    }
    for (const char* kind : {"open", "fstat", "read"}) {
        Prepare().FailCall(kind, 1, EIO);
        EXPECT_EQ(FileUtils::GetFileStream("/data/source/two"), "") << kind;
    }
    Prepare().LimitBytes(0);
    EXPECT_EQ(FileUtils::GetFileStream("/data/source/two"), ""); // it shrinks while it is read
    EXPECT_FALSE(FileUtils::ReplaceFile("/data/dir/file", "new", 0600));
    EXPECT_EQ(DataTree(), before_);
    ASSERT_EQ(mkfifo("/data/pipe", 0600), 0); // nobody writes to it
    for (const char* path : {"/data", "/data/pipe", "/data/none", ""}) {
        EXPECT_EQ(FileUtils::GetFileStream(path), "") << path;
        EXPECT_EQ(TavomendEngine::JsonTool().ParseJsonFromFile(path), nullptr) << path;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
