#include "tests/support/device_fixture.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <openssl/evp.h>
#include <unistd.h>

#include "platform/utility/delayed_singleton.h"
#include "platform/utility/sys_utils.h"
#include "platform/utility/tavomend_kalog_wrapper.h"
#include "platform/utility/tavomend_logger.h"
#include "ports/host/common_event_hub.h"
#include "ports/host/host_log.h"
#include "ports/host/system_ability_registry.h"

namespace ORVX::TavomendTest {
namespace fs = std::filesystem;

void WriteFile(const std::string& path, const std::string& content)
{
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    EXPECT_TRUE(file.good()) << path;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool Exists(const std::string& path)
{
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

std::vector<std::string> ListTree(const std::string& directory)
{
    std::vector<std::string> entries;
    std::error_code error;
    for (fs::recursive_directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
        if (at->is_regular_file(error)) {
            entries.push_back(at->path().string() + " " + Sha256Hex(ReadFile(at->path())));
        }
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

int NextDescriptor()
{
    const int next = dup(STDERR_FILENO);
    close(next);
    return next;
}

std::string Sha256Hex(const std::string& content)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EXPECT_EQ(EVP_Digest(content.data(), content.size(), digest.data(), &size, EVP_sha256(), nullptr), 1);
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        constexpr const char* DIGITS = "0123456789abcdef";
        text += {DIGITS[digest[i] >> 4U], DIGITS[digest[i] & 15U]};
    }
    return text;
}

void MakeProcessFresh()
{
    TavomendEngine::DelayedSingletons::DestroyAll();
    TavomendEngine::DelayedSingleton<TavomendEngine::TavomendLogger>::DestroyInstance();
    TavomendEngine::TavomendKalogWrapper::SetLevel(TavomendEngine::TAVOMEND_LOG_INFO);
    TavomendEngine::SysUtils::SetRunningStage(TavomendEngine::RUNNING_STAGE_SA);
    TavomendHost::HostLog::Reset();
    TavomendHost::CommonEventHub::GetInstance().NewBoot();
    TavomendHost::SystemAbilityRegistry::GetInstance().NewBoot();
}

void DeviceTest::SetUp()
{
    MakeProcessFresh();
    std::error_code error;
    if (!fs::exists(DEVICE_MARK)) {
        std::abort(); // this root is not a test's to empty
    }
    for (const auto& entry : fs::directory_iterator("/", error)) {
        if (entry.path() != DEVICE_MARK) {
            fs::remove_all(entry.path(), error);
        }
    }
    fs::create_directories("/tmp");
    fs::create_directories("/etc/certificate");
    fs::create_directories("/data/update/tavomend/package");
    fs::create_directories("/data/update/tavomend/app/temp");
    WriteFile("/etc/os-release", "NAME=\"Device\"\nVERSION_ID=\"1.0.0\"\n");
    TavomendEngine::TavomendKalogWrapper::SetLevel(TavomendEngine::TAVOMEND_LOG_DEBUG);
}

LogCapture::LogCapture() : lines_(std::make_shared<Lines>())
{
    TavomendHost::HostLog::SetListener([lines = lines_](int32_t /*level*/, const std::string& line) {
        const std::lock_guard<std::mutex> lock(lines->mutex);
        lines->texts.push_back(line);
    });
}

LogCapture::~LogCapture()
{
    TavomendHost::HostLog::SetListener(nullptr);
}

bool LogCapture::Contains(const std::string& text) const
{
    return Count(text) > 0;
}

size_t LogCapture::Count(const std::string& text) const
{
    const std::lock_guard<std::mutex> lock(lines_->mutex);
    return static_cast<size_t>(std::count_if(lines_->texts.begin(), lines_->texts.end(), [&text](const auto& line) {
        return line.size() >= text.size() && line.compare(line.size() - text.size(), text.size(), text) == 0;
    }));
}
} // namespace ORVX::TavomendTest
