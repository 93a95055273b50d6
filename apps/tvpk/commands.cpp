#include "apps/tvpk/commands.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>

#include "apps/common/text_table.h"
#include "apps/tvpk/app_packer.h"
#include "apps/tvpk/diff_commands.h"
#include "apps/tvpk/package_inspector.h"
#include "apps/tvpk/package_maker.h"
#include "apps/tvpk/release_file.h"
#include "formats/signature.h"
#include "formats/zip_archive.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
using Json = nlohmann::ordered_json;
using TavomendEngine::FileUtils;

namespace {
constexpr int DONE = 0;
constexpr int FAILED = 1;
constexpr int WRONG_USAGE = 2;

constexpr const char* PRIVATE_KEY_NAME = "tavomend_private.pem";
constexpr const char* PUBLIC_KEY_NAME = "zkkey_tvpk_v1.pem"; // as a device knows it

int Fail(const std::string& error)
{
    std::cerr << "tvpk: " << error << "\n";
    return FAILED;
}

std::string Percent(uint64_t part, uint64_t whole)
{
    const double share = whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
    char text[32];
    snprintf(text, sizeof(text), "%.1f %%", share);
    return text;
}

int RunKeygen(const std::string& outDir, int bits)
{
    const std::string privatePath = outDir + "/" + PRIVATE_KEY_NAME;
    const std::string publicPath = outDir + "/" + PUBLIC_KEY_NAME;
    for (const auto& path : {privatePath, publicPath}) {
        if (FileUtils::FileIsExist(path)) {
            return Fail(path + " exists; a key is never overwritten");
        }
    }
    std::string error;
    if (!Formats::MakeKeyPair(bits, privatePath, publicPath, error)) {
        return Fail(error);
    }
    std::cout << "private key: " << privatePath << " (keep it to yourself)\n"
              << "public key:  " << publicPath << " (goes to every device)\n";
    return DONE;
}

int RunPack(const std::string& directory, const std::string& outPath, int level)
{
    std::string error;
    if (!PackApp(directory, outPath, level, error)) {
        return Fail(error);
    }
    std::cout << outPath << ": " << FileUtils::GetFileSize(outPath, FileUtils::Unit::BYTE) << " bytes\n";
    return DONE;
}

void PrintMade(const MadePackage& made, const std::string& outDir)
{
    uint64_t newSize = 0;
    Cli::TextTable table({"BUNDLE", "FILE", "SHIPPED AS", "NEW BYTES", "SHIPPED", "SHARE"});
    for (const auto& file : made.files) {
        table.Add({file.bundleName, file.member, file.kind, std::to_string(file.newSize),
                   std::to_string(file.shippedSize), Percent(file.shippedSize, file.newSize)});
        newSize += file.newSize;
    }
    if (!made.files.empty()) {
        std::cout << table.ToString();
    }
    std::cout << outDir << "/" << PACKAGE_NAME << ": patch " << made.config.version << ", " << made.packageSize
              << " bytes";
    if (newSize > 0) {
        std::cout << " for " << newSize << " bytes of applications (" << Percent(made.packageSize, newSize) << ")";
    }
    std::cout << "\n";
}

Json MadeAsJson(const MadePackage& made, const std::string& outDir)
{
    Json files = Json::array();
    for (const auto& file : made.files) {
        files.push_back({{"bundle", file.bundleName},
                         {"member", file.member},
                         {"kind", file.kind},
                         {"newSize", file.newSize},
                         {"shippedSize", file.shippedSize}});
    }
    return {{"schema", 1},
            {"package", outDir + "/" + PACKAGE_NAME},
            {"signature", outDir + "/" + SIGNATURE_NAME},
            {"version", made.config.version},
            {"packageSize", made.packageSize},
            {"files", files}};
}

int RunMake(const std::string& releasePath, const std::string& keyPath, const std::string& outDir, bool isPlainOnly,
            bool asJson)
{
    std::string error;
    const auto release = ReadReleaseFile(releasePath, error);
    if (!release) {
        return Fail(error);
    }
    MadePackage made;
    PackageMaker maker(*release, isPlainOnly, [](const std::string& line) { std::cerr << line << "\n"; });
    if (!maker.Make(keyPath, outDir, made, error)) {
        return Fail(error);
    }
    if (asJson) {
        std::cout << MadeAsJson(made, outDir).dump(2) << "\n";
    } else {
        PrintMade(made, outDir);
    }
    return DONE;
}

int RunInspect(const std::string& package, bool asJson)
{
    std::string error;
    const auto archive = Formats::ZipArchive::Open(package, error);
    if (!archive) {
        return Fail(error);
    }
    std::vector<std::string> problems;
    const auto config = ReadPackageConfig(*archive, problems);
    if (!config) {
        for (const auto& problem : problems) {
            Fail(problem);
        }
        return FAILED;
    }
    std::cout << (asJson ? DescribePackageAsJson(*archive, *config) : DescribePackage(*archive, *config));
    return DONE;
}

int RunVerify(const std::string& package, const std::string& signature, const std::string& key, bool asJson)
{
    const auto problems = VerifyPackage(package, signature, key);
    if (asJson) {
        const Json out = {{"schema", 1}, {"good", problems.empty()}, {"problems", problems}};
        std::cout << out.dump(2) << "\n";
    }
    for (const auto& problem : problems) {
        Fail(problem);
    }
    if (problems.empty() && !asJson) {
        std::cout << package << ": signature, archive and configuration are good\n";
    }
    return problems.empty() ? DONE : FAILED;
}
} // namespace

int RunTvpk(int argc, char** argv)
{
    CLI::App program{"Makes, signs and checks patch packages.", "tvpk"};
    program.set_version_flag("--version", std::string(TAVOMEND_VERSION));
    program.require_subcommand(1);
    bool asJson = false;
    bool isPlainOnly = false;
    std::string one;
    std::string two;
    std::string key;
    std::string out = ".";
    int bits = 3072;
    int level = 9;
    int result = DONE;

    auto* keygen = program.add_subcommand("keygen", "Make a signing key and the public key that devices get");
    keygen->add_option("--out", out, "Directory of the two files")->required();
    keygen->add_option("--bits", bits, "Size of the RSA key")->check(CLI::Range(2048, 8192))->capture_default_str();
    keygen->callback([&] { result = RunKeygen(out, bits); });

    auto* pack = program.add_subcommand("pack", "Pack an application directory into a bundle file (.vab)");
    pack->add_option("DIR", one, "Directory with a manifest.json at its top")->required();
    pack->add_option("OUT", two, "The bundle file to write")->required();
    pack->add_option("--level", level, "Deflate level")->check(CLI::Range(0, 9))->capture_default_str();
    pack->callback([&] { result = RunPack(one, two, level); });

    auto* make = program.add_subcommand("make", "Make a signed patch package from a release file");
    make->add_option("RELEASE", one, "The release file (docs/package-format.md)")->required();
    make->add_option("--key", key, "Private key (PEM)")->required();
    make->add_option("--out", out, "Directory of app.tvpk and tavomend_sign.bin")->required();
    make->add_flag("--plain", isPlainOnly, "Plain zstd differences only");
    make->add_flag("--json", asJson, "JSON on standard output");
    make->callback([&] { result = RunMake(one, key, out, isPlainOnly, asJson); });

    auto* inspect = program.add_subcommand("inspect", "Show what is inside a patch package");
    inspect->add_option("PACKAGE", one, "The package (app.tvpk)")->required();
    inspect->add_flag("--json", asJson, "JSON on standard output");
    inspect->callback([&] { result = RunInspect(one, asJson); });

    auto* verify = program.add_subcommand("verify", "Check a patch package as a device would");
    verify->add_option("PACKAGE", one, "The package (app.tvpk)")->required();
    verify->add_option("SIGNATURE", two, "Its signature (tavomend_sign.bin)")->required();
    verify->add_option("--public-key", key, "Public key (PEM)")->required();
    verify->add_flag("--json", asJson, "JSON on standard output");
    verify->callback([&] { result = RunVerify(one, two, key, asJson); });

    const DiffCommands differences(program, result);

    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? DONE : WRONG_USAGE;
    }
    return result;
}
} // namespace ORVX::Tvpk
