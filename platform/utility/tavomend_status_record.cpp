#include "platform/utility/tavomend_status_record.h"

#include <array>
#include <cstdio>
#include <zlib.h>

#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr const char* FIRST_LINE = "tavomend-status 1\n";
constexpr const char* VERSION_KEY = "version=";
constexpr const char* STATUS_KEY = "status=";
constexpr const char* DETAIL_KEY = "detail=";
constexpr const char* CHECKSUM_KEY = "crc32=";
constexpr uint32_t RECORD_MODE = 0640;
constexpr size_t RECORD_SIZE_MAX = size_t{16} << 20U; // a thousand times what thousands of codes take

std::string HexOf(unsigned long value, int digits)
{
    std::array<char, 17> text{};
    static_cast<void>(snprintf(text.data(), text.size(), "%0*lx", digits, value));
    return text.data();
}

std::string ChecksumOf(const std::string& text)
{
    return HexOf(crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())), 8);
}

// Percent signs and control characters as %XX, so that a value is one line.
std::string Escape(const std::string& value)
{
    std::string text;
    for (const char character : value) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f || character == '%') {
            text += "%" + HexOf(byte, 2);
        } else {
            text += character;
        }
    }
    return text;
}

std::string Unescape(const std::string& text)
{
    std::string value;
    for (size_t at = 0; at < text.size(); ++at) {
        unsigned byte = 0;
        if (text[at] == '%' && sscanf(text.c_str() + at, "%%%2x", &byte) == 1) {
            value += static_cast<char>(byte);
            at += 2;
        } else {
            value += text[at];
        }
    }
    return value;
}

// Takes "KEYvalue\n" off the front of the text.
bool TakeLine(std::string& text, const std::string& key, std::string& value)
{
    const size_t end = text.find('\n');
    if (end == std::string::npos || text.compare(0, key.size(), key) != 0) {
        return false;
    }
    value = Unescape(text.substr(key.size(), end - key.size()));
    text.erase(0, end + 1);
    return true;
}
} // namespace

void TavomendStatusRecord::InitStatusRecord(const std::string& directory, const std::string& name)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    path_ = directory + "/" + name;
    record_ = ReadFile();
}

bool TavomendStatusRecord::SetStatus(const std::string& version, const std::string& status, const std::string& detail)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    record_ = {version, status, detail};
    return WriteFile();
}

bool TavomendStatusRecord::SetStatus(const std::string& status, const std::string& detail)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    record_.status = status;
    record_.detail = detail;
    return WriteFile();
}

std::string TavomendStatusRecord::GetStatus() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return record_.status;
}

std::string TavomendStatusRecord::GetStatus(std::string& version) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    version = record_.version;
    return record_.status;
}

std::string TavomendStatusRecord::GetStatusFromFile() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return ReadFile().detail;
}

bool TavomendStatusRecord::WriteFile() const
{
    const std::string text = std::string(FIRST_LINE) + VERSION_KEY + Escape(record_.version) + "\n" + STATUS_KEY +
                             Escape(record_.status) + "\n" + DETAIL_KEY + Escape(record_.detail) + "\n";
    return FileUtils::ReplaceFile(path_, text + CHECKSUM_KEY + ChecksumOf(text) + "\n", RECORD_MODE);
}

TavomendStatusRecord::Record TavomendStatusRecord::ReadFile() const
{
    std::string text = FileUtils::GetFileStream(path_, RECORD_SIZE_MAX);
    const size_t end = text.rfind(CHECKSUM_KEY);
    if (end == std::string::npos || text.substr(end) != CHECKSUM_KEY + ChecksumOf(text.substr(0, end)) + "\n") {
        return {};
    }
    Record record;
    std::string nothing;
    if (!TakeLine(text, "tavomend-status 1", nothing) || !TakeLine(text, VERSION_KEY, record.version) ||
        !TakeLine(text, STATUS_KEY, record.status) || !TakeLine(text, DETAIL_KEY, record.detail)) {
        return {};
    }
    return record;
}
} // namespace ORVX::TavomendEngine
