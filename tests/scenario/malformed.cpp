#include "tests/scenario/malformed.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace ORVX::TavomendTest {
std::vector<std::string> StateOf(const DeviceWorld& world)
{
    auto entries = Everything(world.At("dev"));
    const auto mayChange = [](const std::string& entry) {
        return entry.find("/dev/data/log") != std::string::npos ||
               entry.find("/temp/app_tavomend_config.json") != std::string::npos;
    };
    entries.erase(std::remove_if(entries.begin(), entries.end(), mayChange), entries.end());
    return entries;
}

void ExpectRefused(const CliResult& result, const std::string& program, const Refusal& expected,
                   const std::string& what)
{
    EXPECT_EQ(result.exitCode, expected.exitCode) << what;
    EXPECT_EQ(result.err, program + ": " + expected.says + "\n") << what;
    const auto line = nlohmann::json::parse(
        result.out.substr(std::min(result.out.size(), result.out.rfind(R"({"schema)"))), nullptr, false);
    const nlohmann::json error = {{"code", expected.code}, {"message", expected.says}};
    EXPECT_EQ(line.is_object() ? line["error"] : line, error) << what << ": " << result.out;
}

std::string Zip(const Members& members)
{
    ZipBuilder zip;
    for (const auto& [name, content] : members) {
        zip.Add(name, content, 9);
    }
    return zip.Build();
}

std::string With(std::string zip, const std::string& signature, size_t offset, const std::string& bytes)
{
    const size_t at = zip.rfind("PK" + signature);
    EXPECT_NE(zip.substr(at + offset, bytes.size()), bytes) << "nothing is spoiled";
    return zip.replace(at + offset, bytes.size(), bytes);
}

std::vector<ArchiveRow> SpoiledArchives()
{
    using M = const Members&;
    const std::string local = "\x03\x04";
    const std::string central = "\x01\x02";
    const std::string end = "\x05\x06";
    const std::string nul(1, '\0');
    const std::string far = "\xff\xff\xff\x3f";
    const char* const noZip = "@ is no zip archive, or its end is missing";
    const char* const damaged = "@ is a damaged archive";
    const char* const damagedMember = "@: the member # is damaged";
    const char* const unreadable = "@: the member # cannot be read";
    const auto dataOf = [](M m) { return 30 + m.back().first.size(); };
    return {
        {"empty", [](M) { return ""; }, noZip},
        {"no archive", [](M) { return std::string(5000, 'P'); }, noZip},
        {"an end alone", [](M m) { return Zip(m).substr(Zip(m).rfind("PK")); }, noZip},
        {"half", [](M m) { return Zip(m).substr(0, Zip(m).size() / 2); }, noZip},
        {"end cut", [](M m) { return Zip(m).substr(0, Zip(m).size() - 12); }, noZip},
        {"directory behind the end", [=](M m) { return With(Zip(m), end, 16, far); }, noZip},
        {"more members than there are", [=](M m) { return With(Zip(m), end, 8, "\x09" + nul + "\x09"); }, damaged},
        {"directory record", [=](M m) { return With(Zip(m), central, 0, "QK"); }, damaged},
        {"NUL in a name", [=](M m) { return With(Zip(m), central, 47, nul); }, damaged},
        {"name longer than the file", [=](M m) { return With(Zip(m), central, 28, "\xff\xff"); }, damaged},
        {"unknown method", [=](M m) { return With(Zip(m), central, 10, "\x63"); }, unreadable},
        {"local record", [=](M m) { return With(Zip(m), local, 0, "QK"); }, unreadable},
        {"names of two lengths", [=](M m) { return With(Zip(m), local, 26, "\x01"); }, unreadable},
        {"data before the file", [=](M m) { return With(Zip(m), central, 42, far); }, unreadable},
        {"two checksums", [=](M m) { return With(Zip(m), central, 16, "ABCD"); }, unreadable},
        {"another checksum", [=](M m) { return With(With(Zip(m), central, 16, "ABCD"), local, 14, "ABCD"); },
         damagedMember},
        {"encrypted", [=](M m) { return With(With(Zip(m), central, 8, "\x01"), local, dataOf(m), "ABCD"); },
         damagedMember},
        {"a byte of the data", [=](M m) { return With(Zip(m), local, dataOf(m) + 4, "\xee"); }, damagedMember},
        {"member ends early", [=](M m) { return With(With(Zip(m), central, 24, far), local, 22, far); }, damagedMember},
        {"packed size behind the end", [=](M m) { return With(With(Zip(m), central, 20, far), local, 18, far); },
         damagedMember},
    };
}

std::string Named(std::string text, const std::string& path, const Members& members)
{
    for (const auto& [mark, name] :
         {std::pair{"@", path}, std::pair{"#", members.back().first}, std::pair{"%", members.front().first}}) {
        const size_t at = text.find(mark);
        text = at == std::string::npos ? text : text.replace(at, 1, name);
    }
    return text;
}
} // namespace ORVX::TavomendTest
