#include "apps/tvpk/commands.h"

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "apps/common/printable.h"
#include "apps/common/progress.h"
#include "apps/common/text_table.h"
#include "apps/tvpk/app_packer.h"
#include "apps/tvpk/interruption.h"
#include "apps/tvpk/package_inspector.h"
#include "apps/tvpk/package_maker.h"
#include "apps/tvpk/release_file.h"
#include "formats/signature.h"
#include "formats/zip_archive.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
using Cli::Console;
using Cli::EXIT_DONE;
using Cli::EXIT_FAILED;
using Json = nlohmann::ordered_json;
using TavomendEngine::FileUtils;

namespace {
constexpr const char* PRIVATE_KEY_NAME = "tavomend_private.pem";
constexpr const char* PUBLIC_KEY_NAME = "zkkey_tvpk_v1.pem"; // as a device knows it

std::string Percent(uint64_t part, uint64_t whole)
{
    const double share = whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
    char text[32];
    snprintf(text, sizeof(text), "%.1f %%", share);
    return text;
}

// Also a link that leads nowhere.
bool IsAnythingThere(const std::string& path)
{
    std::error_code error;
    return std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::not_found;
}

void PrintMade(const Console& console, const MadePackage& made, const std::string& outDir)
{
    uint64_t newSize = 0;
    Cli::TextTable table({"BUNDLE", "FILE", "SHIPPED AS", "NEW BYTES", "SHIPPED", "SHARE"});
    for (const auto& file : made.files) {
        table.Add({file.bundleName, file.member, file.kind + (file.isCached.value_or(false) ? ", made before" : ""),
                   std::to_string(file.newSize), std::to_string(file.shippedSize),
                   Percent(file.shippedSize, file.newSize)});
        newSize += file.newSize;
    }
    if (!made.files.empty()) {
        console.Say(table.ToString());
    }
    const std::string share = newSize == 0 ? ""
                                           : " for " + std::to_string(newSize) + " bytes of applications (" +
                                                 Percent(made.packageSize, newSize) + ")";
    console.Say(Cli::Printable(outDir + "/" + PACKAGE_NAME + ": patch " + made.config.version) + ", " +
                std::to_string(made.packageSize) + " bytes" + share);
}

Json MadeAsJson(const MadePackage& made, const std::string& outDir)
{
    Json members = Json::array();
    for (const auto& file : made.files) {
        members.push_back({{"bundle", file.bundleName},
                           {"name", file.member},
                           {"kind", file.kind},
                           {"newSize", file.newSize},
                           {"shippedSize", file.shippedSize}});
        if (file.isCached.has_value()) {
            members.back()["cached"] = *file.isCached;
        }
    }
    return {{"package", outDir + "/" + PACKAGE_NAME},
            {"signature", outDir + "/" + SIGNATURE_NAME},
            {"version", made.config.version},
            {"packageSize", made.packageSize},
            {"members", members}};
}
} // namespace

int RunKeygen(const Console& console, const std::string& outDir, int bits)
{
    const std::string privatePath = outDir + "/" + PRIVATE_KEY_NAME;
    const std::string publicPath = outDir + "/" + PUBLIC_KEY_NAME;
    for (const auto& path : {privatePath, publicPath}) {
        if (IsAnythingThere(path)) {
            return console.Fail(path + " exists; a key is never overwritten");
        }
    }
    const bool isDirMade = !IsAnythingThere(outDir);
    const auto takeBack = [&] { // half a pair would be in the way of the next one
        for (const auto& path : {privatePath, publicPath}) {
            unlink(path.c_str());
            unlink((path + ".new").c_str());
        }
        if (isDirMade) {
            rmdir(outDir.c_str());
        }
    };
    std::string error;
    bool isMade = false;
    Interruption interruption(console);
    interruption.SetCleanUp(takeBack);
    interruption.Allow([&] { isMade = Formats::MakeKeyPair(bits, privatePath, publicPath, error); });
    interruption.SetCleanUp(nullptr);
    if (!isMade) {
        takeBack();
        return console.Fail(error);
    }
    console.Emit("keygen", {{"privateKey", privatePath}, {"publicKey", publicPath}});
    if (!console.IsJson()) {
        console.Say("private key: " + Cli::Printable(privatePath) + " (keep it to yourself)");
        console.Say("public key:  " + Cli::Printable(publicPath) + " (goes to every device)");
    }
    return EXIT_DONE;
}

int RunPack(const Console& console, const std::string& directory, const std::string& outPath, int level)
{
    std::string error;
    Interruption interruption(console);
    if (!PackApp(directory, outPath, level, interruption, error)) {
        return console.Fail(error);
    }
    const int64_t size = FileUtils::GetFileSize(outPath, FileUtils::Unit::BYTE);
    console.Emit("pack", {{"bundleFile", outPath}, {"size", size}});
    if (!console.IsJson()) {
        console.Say(Cli::Printable(outPath) + ": " + std::to_string(size) + " bytes");
    }
    return EXIT_DONE;
}

int RunMake(const Console& console, const MakeRequest& request)
{
    std::string error;
    const auto release = ReadReleaseFile(request.release, error);
    if (!release) {
        return console.Fail(error);
    }
    MadePackage made;
    Interruption interruption(console);
    Cli::Progress progress(console);
    MakerOptions options;
    options.isPlainOnly = request.isPlainOnly;
    options.work = request.work;
    options.note = [&console](const std::string& note) { console.Note(note); };
    options.progress = [&progress](const std::string& step, uint64_t done, uint64_t total) {
        progress.Report(step, done, total);
    };
    PackageMaker maker(*release, std::move(options), interruption);
    if (!maker.Make(request.privateKey, request.outDir, made, error)) {
        return console.Fail(error);
    }
    if (console.IsJson()) {
        console.Emit("make", MadeAsJson(made, request.outDir));
    } else {
        PrintMade(console, made, request.outDir);
    }
    return EXIT_DONE;
}

int RunInspect(const Console& console, const std::string& package)
{
    std::string error;
    const auto archive = Formats::ZipArchive::Open(package, error);
    if (!archive) {
        return console.Fail(error);
    }
    std::vector<std::string> problems;
    const auto config = ReadPackageConfig(*archive, problems);
    if (!config) {
        for (const auto& problem : problems) {
            console.Fail(problem);
        }
        return EXIT_FAILED;
    }
    if (console.IsJson()) {
        console.Emit("inspect", DescribePackageAsJson(*archive, *config));
    } else {
        console.Say(DescribePackage(*archive, *config));
    }
    return EXIT_DONE;
}

int RunVerify(const Console& console, const VerifyRequest& request)
{
    std::vector<std::string> problems;
    {
        Interruption interruption(console);
        interruption.Allow([&] { problems = VerifyPackage(request.package, request.signature, request.publicKey); });
    }
    console.Emit("verify", {{"good", problems.empty()}, {"problems", problems}});
    for (const auto& problem : problems) {
        console.Fail(problem);
    }
    if (problems.empty() && !console.IsJson()) {
        console.Say(Cli::Printable(request.package) + ": signature, archive and configuration are good");
    }
    return problems.empty() ? EXIT_DONE : EXIT_FAILED;
}
} // namespace ORVX::Tvpk
