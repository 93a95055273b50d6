// The package maker from outside: everything that it prints, and its exit codes.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>
#include <regex>
#include <sstream>
#include <sys/stat.h>

#include "tests/support/cli_runner.h"
#include "tests/support/device_fixture.h"
#include "tests/support/noise.h"

namespace ORVX::TavomendTest {
namespace {
namespace fs = std::filesystem;
using Json = nlohmann::json;

constexpr const char* RELEASE = R"({"version": "patch01", "needReboot": true, "dataKept": false,
 "products": [{"model": "one", "baseVersion": "1.0.0"}, {"model": "two", "baseVersion": "1.0.1"}],
 "apps": [{"patch": "hot", "files": [{"base": "/system/app/A/A.vab", "old": "a1.vab", "new": "a2.vab"}]},
          {"patch": "cold", "files": [{"base": "/system/app/B/B.vab", "old": "b1.vab", "new": "b2.vab", "whole": true}]}]})";

class TvpkTest : public testing::Test {
protected:
    TvpkTest() : folder_(fs::temp_directory_path() / "tavomendXXXXXX")
    {
        EXPECT_NE(mkdtemp(folder_.data()), nullptr);
        for (const std::string name : {"a", "b"}) {
            for (const std::string version : {"1", "2"}) {
                std::string code;
                for (int i = 0; i < 3000; ++i) {
                    code += std::to_string(i) + (i % 1000 == 0 ? " of version " + version : "") + "\n";
                }
                WriteFile(At(name + version + "/manifest.json"),
                          "{\"bundleName\": \"com." + name + "\", \"versionCode\": " + version + "}");
                WriteFile(At(name + version + "/code/lines.txt"), code);
                EXPECT_EQ(Run("pack " + name + version + " " + name + version + ".vab").exitCode, 0);
            }
        }
    }
    ~TvpkTest() override
    {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }
    // Words that name something in the folder are made whole: a file or directory there, or one to be made.
    CliResult Run(const std::string& arguments) const { return RunProgram(CommandOf(arguments)); }
    [[nodiscard]] std::vector<std::string> CommandOf(const std::string& arguments) const
    {
        std::vector<std::string> command = {TVPK_PROGRAM};
        std::istringstream words(arguments);
        for (std::string word; words >> word;) {
            const bool isPath = command.size() > 1 && word.front() != '-' && word.find_first_not_of("0123456789") == 0;
            command.push_back(isPath ? At(word) : word);
        }
        return command;
    }
    // What is printed, with the folder's name taken out.
    [[nodiscard]] std::string Plain(std::string text) const
    {
        for (size_t at = text.find(folder_); at != std::string::npos; at = text.find(folder_)) {
            text.erase(at, folder_.size() + 1);
        }
        return text;
    }
    // What a command tells scripts in the end; before it there may be lines of progress.
    [[nodiscard]] Json Told(const std::string& arguments) const
    {
        std::istringstream lines(Run(arguments + " --json").out);
        Json last;
        for (std::string line; std::getline(lines, line);) {
            last = Json::parse(line, nullptr, false);
            EXPECT_TRUE(last.is_object() && last.value("schema", 0) == 1 && last.contains("event")) << line;
        }
        return last;
    }
    [[nodiscard]] std::string At(const std::string& name) const { return folder_ + "/" + name; }
    [[nodiscard]] std::string Size(const std::string& name) const { return std::to_string(fs::file_size(At(name))); }

    std::string folder_;
};

TEST_F(TvpkTest, TellsWhatItMakes)
{
    EXPECT_EQ(Plain(Run("keygen --out keys --bits 2048").out),
              "private key: keys/tavomend_private.pem (keep it to yourself)\n"
              "public key:  keys/zkkey_tvpk_v1.pem (goes to every device)\n");
    EXPECT_EQ(Plain(Run("pack a1 again.vab").out), "again.vab: " + Size("a1.vab") + " bytes\n");
    EXPECT_EQ(ReadFile(At("again.vab")), ReadFile(At("a1.vab"))); // the same input gives the same bytes
    EXPECT_EQ(Run("pack a1 a1/own.vab").exitCode, 0);
    EXPECT_EQ(Run("pack a1 a1/own.vab").exitCode, 0);
    EXPECT_EQ(ReadFile(At("a1/own.vab")), ReadFile(At("a1.vab"))); // not with the first one in it
    fs::remove(At("a1/own.vab"));
    for (char name = 'a'; name <= 'z'; ++name) { // in whatever order the directory tells them
        WriteFile(At(std::string("a1/by name ") + name), "x");
    }
    EXPECT_EQ(Run("pack a1 again.vab").exitCode, 0);
    const std::string packed = ReadFile(At("again.vab"));
    for (char name = 'a'; name < 'z'; ++name) {
        EXPECT_LT(packed.rfind(std::string("by name ") + name),
                  packed.rfind(std::string("by name ") + static_cast<char>(name + 1)))
            << name;
    }
    EXPECT_EQ(Run("pack a1 six.vab --level 6").exitCode, 0);
    EXPECT_EQ(ReadFile(At("six.vab")), packed);
    EXPECT_EQ(Run("pack a1 stored.vab --level 0").exitCode, 0);
    EXPECT_GT(fs::file_size(At("stored.vab")), fs::file_size(At("a1/code/lines.txt")));

    WriteFile(At("release.json"), RELEASE);
    const CliResult made = Run("make release.json --key keys/tavomend_private.pem --out out");
    ASSERT_EQ(made.exitCode, 0) << made.err;
    EXPECT_EQ(made.err, ""); // it is over at once
    ASSERT_EQ(RunProgram({"unzip", "-q", At("out/app.tvpk"), "-d", At("members")}).exitCode, 0);
    const std::string shipped = Size("members/com.a/A.vab.diff");
    const auto inspected = Told("inspect out/app.tvpk");
    const auto total = static_cast<double>(fs::file_size(At("a2.vab")) + fs::file_size(At("b2.vab")));
    const auto share = [](double part, double whole) {
        std::ostringstream text;
        text.precision(1);
        text << std::fixed << 100 * part / whole << " %";
        return text.str();
    };
    // Every number and word, whatever the widths of the columns.
    const auto words = [](const std::string& text) {
        std::istringstream in(text);
        return std::vector<std::string>(std::istream_iterator<std::string>(in), {});
    };
    const Json differed = Told("diff a1.vab a2.vab d");
    const std::string kind = differed["kind"];
    const Json need = {{"formatVersion", 3}, {"window", differed["window"]}};
    EXPECT_EQ(
        words(Plain(made.out)),
        words("BUNDLE FILE SHIPPED AS NEW BYTES SHIPPED SHARE com.a com.a/A.vab.diff " + kind + " " + Size("a2.vab") +
              " " + shipped + " " + share(std::stod(shipped), static_cast<double>(fs::file_size(At("a2.vab")))) +
              " com.b com.b/B.vab whole " + Size("b2.vab") + " " + Size("b2.vab") + " 100.0 % " +
              "out/app.tvpk: patch patch01, " + Size("out/app.tvpk") + " bytes for " +
              std::to_string(fs::file_size(At("a2.vab")) + fs::file_size(At("b2.vab"))) + " bytes of applications (" +
              share(static_cast<double>(fs::file_size(At("out/app.tvpk"))), total) + ")"));

    const auto again = Told("make release.json --key keys/tavomend_private.pem --out out");
    EXPECT_EQ(again["signature"], At("out/tavomend_sign.bin"));
    EXPECT_EQ(again["packageSize"], fs::file_size(At("out/app.tvpk")));
    EXPECT_EQ(again["members"][0], (Json{{"bundle", "com.a"},
                                         {"name", "com.a/A.vab.diff"},
                                         {"kind", kind},
                                         {"newSize", fs::file_size(At("a2.vab"))},
                                         {"shippedSize", std::stoul(shipped)}}));

    const auto kib = [this](const std::string& name) { return (fs::file_size(At(name)) + 1023) / 1024; };
    const std::string space = std::to_string(kib("a2.vab") + kib("b2.vab"));
    EXPECT_EQ(words(Run("inspect out/app.tvpk").out),
              words("patch patch01 over patch00, action enable, needs " + space +
                    " KiB for one at 1.0.0, two at 1.0.1 BUNDLE VERSION PATCH TYPE SHIPPED AS BYTES BASE FILE "
                    "com.a 1 -> 2 hot internal difference, format 3, 1 MiB " +
                    shipped + " /system/app/A/A.vab com.b 1 -> 2 cold internal whole " + Size("b2.vab") +
                    " /system/app/B/B.vab"));
    const auto hashOf = [this](const std::string& name) {
        return RunProgram({"sha256sum", At(name)}).out.substr(0, 64);
    };
    const auto app = [&](const std::string& name, const std::string& type, const Json& needed) {
        const std::string file(1, static_cast<char>(name[0] - 'a' + 'A'));
        Json member = {{"name", "com." + name + "/" + file + ".vab" + (needed.empty() ? "" : ".diff")},
                       {"base", "/system/app/" + file + "/" + file + ".vab"},
                       {"hash", hashOf(name + "2.vab")}};
        member.update(needed);
        return Json{{"bundle", "com." + name}, {"versionCode", 2},   {"preVersionCode", 1},
                    {"patch", type},           {"type", "internal"}, {"members", {member}}};
    };
    auto told = inspected;
    told.erase("members");
    EXPECT_EQ(told,
              (Json{{"schema", 1},
                    {"event", "inspect"},
                    {"space", std::stoul(space)},
                    {"version", "patch01"},
                    {"preVersion", "patch00"},
                    {"products",
                     {{{"model", "one"}, {"baseVersion", "1.0.0"}}, {{"model", "two"}, {"baseVersion", "1.0.1"}}}},
                    {"action", "enable"},
                    {"dataKept", false},
                    {"needReboot", true},
                    {"apps", {app("a", "hot", need), app("b", "cold", Json::object())}}}));
    ASSERT_EQ(inspected["members"].size(), 3U);
    EXPECT_EQ(inspected["members"][0]["name"], "app_tavomend_config.json");
    EXPECT_EQ(inspected["members"][0]["size"], fs::file_size(At("members/app_tavomend_config.json")));
    EXPECT_LT(inspected["members"][0]["packedSize"], inspected["members"][0]["size"]);
    EXPECT_EQ(inspected["members"][2]["packedSize"], fs::file_size(At("b2.vab"))); // stored: it does not compress

    const std::string verify = "verify out/app.tvpk out/tavomend_sign.bin --public-key keys/zkkey_tvpk_v1.pem";
    EXPECT_EQ(Plain(Run(verify).out), "out/app.tvpk: signature, archive and configuration are good\n");
    EXPECT_EQ(Told(verify), (Json{{"schema", 1}, {"event", "verify"}, {"good", true}, {"problems", Json::array()}}));
    WriteFile(At("out/tavomend_sign.bin"), "no signature");
    const CliResult bad = Run(verify + " --json");
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_EQ(bad.out, R"({"schema":1,"event":"verify","good":false,"problems":["the signature does not verify"]}
{"schema":1,"event":"error","error":{"code":"failed","message":"the signature does not verify"}})"
                       "\n");

    // A revoke names no applications, and says so.
    WriteFile(At("revoke.json"), R"({"version": "patch02", "preVersion": "patch01", "action": "revoke",
        "products": [{"model": "one", "baseVersion": "1.0.0"}]})");
    const CliResult revoke = Run("make revoke.json --key keys/tavomend_private.pem --out out");
    EXPECT_EQ(Plain(revoke.out), "out/app.tvpk: patch patch02, " + Size("out/app.tvpk") + " bytes\n");
    EXPECT_EQ(Run("inspect out/app.tvpk").out,
              "patch patch02 over patch01, action revoke, needs 1 KiB\nfor one at 1.0.0\n\n"
              "no applications: those of the patch in force are brought back\n");
    told = Told("inspect out/app.tvpk");
    EXPECT_EQ(told["action"], "revoke");
    EXPECT_EQ(told["dataKept"], true);
    EXPECT_EQ(told["needReboot"], false);
}

TEST_F(TvpkTest, MakesADifferenceAndTheFileFromIt)
{
    const auto made = Told("diff a1.vab a2.vab d");
    EXPECT_EQ(made["oldSize"], fs::file_size(At("a1.vab")));
    EXPECT_EQ(made["newSize"], fs::file_size(At("a2.vab")));
    EXPECT_EQ(made["diffSize"], fs::file_size(At("d")));
    EXPECT_EQ(made["entries"], 2);
    EXPECT_EQ(made["formatVersion"], 3);
    // Both entries' old content: the lines of code and the manifest.
    EXPECT_EQ(made["window"], fs::file_size(At("a1/code/lines.txt")) + fs::file_size(At("a1/manifest.json")));
    char share[16];
    snprintf(share, sizeof(share), "%.1f", 100 * made["diffSize"].get<double>() / made["newSize"].get<double>());
    const std::string told = "archive: " + Size("d") + " bytes for a file of " + Size("a2.vab") + " (" + share +
                             " %); plain zstd: " + std::to_string(made["plainSize"].get<int>()) +
                             "; needs format 3 and a window of 1 MiB";
    const CliResult again = Run("diff a1.vab a2.vab d");
    EXPECT_EQ(again.out, told + "\n");
    EXPECT_EQ(again.err, ""); // steps are shown on a terminal only
    const std::string line = std::string(TVPK_PROGRAM) + " diff " + At("a1.vab") + " " + At("a2.vab") + " " + At("d");
    const std::string shown = RunProgram({"script", "-qec", line, "/dev/null"}).out;
    const std::string bar = "\r\\[[#.]{30}\\] \\w+, [\\d.]+ of [\\d.]+ kB\x1b\\[K"; // one, drawn anew for each step
    EXPECT_TRUE(std::regex_match(shown.substr(0, shown.find("archive")), std::regex("(" + bar + "){4,}\r\x1b\\[K")))
        << shown;
    EXPECT_EQ(shown.substr(shown.find("archive")), told + "\r\n");

    EXPECT_EQ(Run("patch d a1.vab made.vab").out,
              "tvdf: " + Size("d") + " bytes brought forth " + Size("a2.vab") + "\n");
    EXPECT_EQ(ReadFile(At("made.vab")), ReadFile(At("a2.vab")));
    EXPECT_EQ(Told("patch d a1.vab made.vab"), (Json{{"schema", 1},
                                                     {"event", "patch"},
                                                     {"format", "tvdf"},
                                                     {"diffSize", fs::file_size(At("d"))},
                                                     {"newSize", fs::file_size(At("a2.vab"))}}));
    ASSERT_EQ(RunProgram({"zstd", "-q", "--patch-from", At("a1.vab"), At("a2.vab"), "-o", At("z")}).exitCode, 0);
    EXPECT_EQ(Run("patch z a1.vab made.vab").out,
              "zstd: " + Size("z") + " bytes brought forth " + Size("a2.vab") + "\n");
    const CliResult wrong = Run("patch d b1.vab made.vab --json");
    EXPECT_EQ(wrong.exitCode, 1);
    const std::string why = "the old file is not the one that the difference was made for";
    EXPECT_EQ(wrong.out,
              R"({"schema":1,"event":"error","error":{"code":"failed","message":")" + why + " (code 14)\"}}\n");
    EXPECT_EQ(ReadFile(At("made.vab")), ReadFile(At("a2.vab"))); // what was there is still there
    EXPECT_EQ(wrong.err, "tvpk: " + why + " (code 14)\n");
}

TEST_F(TvpkTest, SaysWhereThePlainKindWasGivenUp)
{
    std::mt19937 source(1);
    std::string numbers;
    while (numbers.size() < 400000) {
        numbers += std::to_string(source()) + "\n";
    }
    for (const std::string name : {"large1.vab", "large2.vab"}) {
        WriteFile(At("a1/code/lines.txt"), numbers);
        ASSERT_EQ(Run("pack a1 " + name).exitCode, 0);
        numbers.replace(9, 1, "-");
    }
    const auto made = Told("diff large1.vab large2.vab d");
    const uint64_t above = 2 * fs::file_size(At("d"));
    EXPECT_EQ(made["plainAbove"], above);
    EXPECT_FALSE(made.contains("plainSize"));
    const std::string told = Run("diff large1.vab large2.vab d").out;
    EXPECT_NE(told.find(" %); plain zstd: more than " + std::to_string(above) + "; needs"), std::string::npos) << told;
}

TEST_F(TvpkTest, RefusesInOneLine)
{
    struct Case {
        const char* arguments;
        int exitCode;
        const char* says; // "@": the folder
    };
    ASSERT_EQ(Run("keygen --out keys --bits 2048").exitCode, 0);
    WriteFile(At("empty/manifest.json"), "{}");
    WriteFile(At("no.json"), "no JSON");
    ASSERT_EQ(Run("diff a1.vab a2.vab d").exitCode, 0);
    fs::copy(At("a1"), At("linked"), fs::copy_options::recursive);
    fs::create_symlink(At("no.json"), At("linked/link"));
    WriteFile(At("half/zkkey_tvpk_v1.pem.new/file"), ""); // the second of the two files cannot be written
    WriteFile(At("sparse"), "");
    fs::resize_file(At("sparse"), uintmax_t{15} << 40);
    ASSERT_EQ(mkfifo(At("pipe").c_str(), 0600), 0);
    const Case cases[] = {
        {"", 2, "A subcommand is required; --help tells more"},
        {"no-such-command", 2, "no-such-command is no command; --help lists them"},
        {"make --plian", 2, "--plian is no option of make; did you mean --plain?"},
        {"keygen", 2, "--out is required; --help tells more"},
        {"keygen --out more --bits 1024", 2, "--bits: Value 1024 not in range 2048 to 8192; --help tells more"},
        {"pack a1 x.vab --level 10", 2, "--level: Value 10 not in range 0 to 9; --help tells more"},
        {"keygen --out keys", 1, "@/keys/tavomend_private.pem exists; a key is never overwritten"},
        {"keygen --out half --bits 2048", 1, "cannot write @/half/zkkey_tvpk_v1.pem: Is a directory"},
        {"keygen --out no.json/keys", 1, "cannot write @/no.json/keys/tavomend_private.pem: Not a directory"},
        {"pack none x.vab", 1, "cannot read @/none: No such file or directory"},
        {"pack no.json x.vab", 1, "cannot read @/no.json: Not a directory"},
        {"pack a1/code x.vab", 1, "@/a1/code has no manifest.json at its top"},
        {"pack empty x.vab", 1, "@/empty: manifest.json has no usable \"bundleName\" (letters, digits, '.', '_', '-')"},
        {"pack a1 none/x.vab", 1, "cannot write @/none/x.vab: No such file or directory"},
        {"pack a1 empty", 1, "cannot write @/empty: Is a directory"},
        {"pack linked x.vab", 1, "@/linked/link is neither a file nor a directory"},
        {"make none.json --key k --out out", 1, "cannot read @/none.json: No such file or directory"},
        {"make a1 --key k --out out", 1, "cannot read @/a1: Is a directory"},
        {"make no.json --key k --out out", 1, "@/no.json is not JSON"},
        {"inspect none", 1, "cannot read @/none: No such file or directory"},
        {"inspect red\x1b[31m", 1, "cannot read @/red\\x1b[31m: No such file or directory"},
        {"inspect no.json", 1, "@/no.json is no zip archive, or its end is missing"},
        {"inspect a1.vab", 1, "@/a1.vab has no member app_tavomend_config.json"},
        {"verify a1.vab no.json --public-key none", 1, "no usable public key in @/none: No such file or directory"},
        {"verify a1.vab no.json --public-key no.json", 1,
         "no usable public key in @/no.json: it holds no RSA public key (PEM \"PUBLIC KEY\")"},
        {"verify a1.vab none --public-key keys/zkkey_tvpk_v1.pem", 1, "cannot read @/none: No such file or directory"},
        {"verify pipe no.json --public-key keys/zkkey_tvpk_v1.pem", 1, "cannot read @/pipe: it is no regular file"},
        {"diff a1.vab a2.vab d --window 257", 2, "--window: Value 257 not in range 1 to 256; --help tells more"},
        {"diff a1.vab a2.vab d --memory 0", 2, "--memory: Value 0 not in range 1 to 1048576; --help tells more"},
        {"diff a1.vab a2.vab d --format 4", 2, "--format: Value 4 not in range 1 to 3; --help tells more"},
        {"diff none a2.vab d", 1, "cannot read @/none: No such file or directory"},
        {"diff a1.vab none d", 1, "cannot read @/none: No such file or directory"},
        {"diff a1.vab a2.vab none/d", 1, "cannot write @/none/d: No such file or directory"},
        {"diff a1.vab sparse d", 1,
         "cannot write @/d: No space left on device: 16492674416640 bytes or more are needed"},
        {"diff a1.vab a2.vab empty", 1, "cannot write @/empty: it is no regular file"},
        {"diff a1.vab a2.vab a1.vab", 1, "the difference would overwrite the old or the new file"},
        {"diff a1.vab a2.vab a2.vab", 1, "the difference would overwrite the old or the new file"},
        {"patch none a1.vab x", 1, "cannot read @/none: No such file or directory (code 2)"},
        {"patch a1.vab b1.vab x.vab", 1, "the difference is of an unknown kind (code 6)"},
        {"patch a1.vab none x.vab", 1, "cannot read @/none: No such file or directory (code 1)"},
        {"patch a1.vab b1.vab a1.vab", 1, "the new file would overwrite the old file or the difference (code 5)"},
        {"patch a1.vab b1.vab empty", 1, "cannot write @/empty (code 3)"},
        {"patch d a1.vab none/x.vab", 1, "cannot write @/none/x.vab: No such file or directory (code 3)"},
    };
    for (const auto& refused : cases) {
        const CliResult result = Run(refused.arguments);
        std::string says = refused.says;
        says = says.find('@') == std::string::npos ? says : says.replace(says.find('@'), 1, folder_);
        EXPECT_EQ(result.exitCode, refused.exitCode) << refused.arguments;
        EXPECT_EQ(result.err, "tvpk: " + says + "\n") << refused.arguments;
        EXPECT_EQ(result.out, "") << refused.arguments;
        const Json error = {{"code", refused.exitCode == 1 ? "failed" : "usage"}, {"message", says}};
        EXPECT_EQ(Told(refused.arguments)["error"], error) << refused.arguments;
    }
    for (const char* left : {"half/tavomend_private.pem", "x.vab", "x.vab.part", "empty.part"}) {
        EXPECT_FALSE(Exists(At(left))) << left;
    }
    const std::string verbose = std::string(TVPK_PROGRAM) + " pack " + At("a1") + " " + At("full.vab");
    for (const char* more : {"", " --json"}) {
        const CliResult unheard = RunProgram({"sh", "-c", verbose + more + " >/dev/full"});
        EXPECT_EQ(unheard.exitCode, 1);
        EXPECT_EQ(unheard.err, "tvpk: cannot write to standard output: No space left on device\n");
    }
    const std::string unread = "mkfifo p && exec 3<>p 4>p 3<&- && " + verbose + " >&4"; // the reader has gone
    EXPECT_EQ(RunProgram({"sh", "-c", "cd " + folder_ + " && " + unread}).exitCode, 0);
    EXPECT_EQ(Run("--version").out, "1.0.0\n");
    EXPECT_EQ(Run("--help").exitCode, 0);
}

TEST_F(TvpkTest, LeavesNothingWhenItIsInterrupted)
{
    ASSERT_EQ(Run("keygen --out keys --bits 2048").exitCode, 0);
    ASSERT_EQ(Run("diff a1.vab a2.vab difference").exitCode, 0);
    WriteFile(At("release.json"), RELEASE);
    const std::string make = "make release.json --key keys/tavomend_private.pem --out out";
    const auto expectEnded = [this](const CliResult& result, int exitCode, const std::string& line) {
        EXPECT_EQ(result.exitCode, exitCode) << line;
        EXPECT_EQ(result.err, "tvpk: interrupted; nothing was made\n") << line;
    };
    // The signal is there before the program is.
    WriteFile(At("there"), "already");
    const auto before = ListTree(folder_);
    for (const std::string& line :
         {make, std::string("keygen --out out"), std::string("pack a1 there"), std::string("diff a1.vab a2.vab there"),
          std::string("patch difference a1.vab there"),
          std::string("verify a1.vab there --public-key keys/zkkey_tvpk_v1.pem")}) {
        expectEnded(RunningProgram(CommandOf(line), SIGINT).Wait(), 130, line);
        expectEnded(RunningProgram(CommandOf(line), SIGTERM).Wait(), 143, line);
        EXPECT_EQ(ListTree(folder_), before) << line;
        EXPECT_EQ(ReadFile(At("there")), "already") << line;
        EXPECT_FALSE(Exists(At("out"))) << line;
    }
    EXPECT_EQ(RunningProgram(CommandOf("pack a1 there --json"), SIGINT).Wait().out,
              R"({"schema":1,"event":"error","error":{"code":"interrupted","message":"interrupted; nothing was made"}})"
              "\n");

    // It comes in the middle of a difference that takes far longer.
    std::mt19937 random(1);
    std::string noise = Noise(size_t{24} << 20, 1);
    for (const char* version : {"1", "2"}) {
        std::shuffle(noise.begin(), noise.begin() + 1000, random);
        WriteFile(At("a" + std::string(version) + "/noise"), noise);
        ASSERT_EQ(Run("pack a" + std::string(version) + " a" + version + ".vab --level 0").exitCode, 0);
    }
    RunningProgram made(CommandOf(make));
    const auto isMaking = [this] { // the first application's directory is there
        std::error_code missing;
        const fs::directory_iterator work(At("out"), missing);
        return !missing && work != fs::directory_iterator() && fs::exists(work->path() / "com.a");
    };
    while (!isMaking()) {
    }
    made.Signal(SIGTERM);
    expectEnded(made.Wait(), 143, make);
    EXPECT_FALSE(Exists(At("out")));
}

// A maker's machine has no device: neither engine nor bundle store are wanted there.
TEST_F(TvpkTest, NeedsNeitherEngineNorBundleStore)
{
    const CliResult libraries = RunProgram({"ldd", TVPK_PROGRAM});
    EXPECT_NE(libraries.out.find("libcrypto"), std::string::npos) << libraries.err;
    for (const char* unwanted : {"sqlite", "tavomend_engine", "tavomend_platform"}) {
        EXPECT_EQ(libraries.out.find(unwanted), std::string::npos) << libraries.out;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
