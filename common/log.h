// The engine's messages. Each is written twice: to the platform log, with the place it comes from as a prefix, and to
// the engine's own log file.
//
//     TAVOMEND_LOG_E("open %{public}s failed", path.c_str());
//
// The format is a literal with the platform log's privacy marks; the compiler checks it against the arguments.
#ifndef TAVOMEND_COMMON_LOG_H
#define TAVOMEND_COMMON_LOG_H

#include <cstddef>
#include <type_traits>

#include "platform/api/kalog.h"
#include "platform/utility/secure_format.h"
#include "platform/utility/tavomend_kalog_wrapper.h"
#include "platform/utility/tavomend_logger.h"

namespace ORVX::TavomendEngine {
constexpr uint32_t LOG_DOMAIN = 0xD002E03;
constexpr const char* LOG_TAG = "TavomendEngineApp";
constexpr size_t LOG_BUFFER_SIZE = 1024;

// Compile-time check of a format: as many conversions as arguments, and of their kind.
namespace LogFormat {
template <typename T>
constexpr bool FitsConversion(char conversion, int longs)
{
    using Value = std::decay_t<T>;
    if (conversion == 's') {
        return std::is_same_v<Value, const char*> || std::is_same_v<Value, char*>;
    }
    const size_t width = longs > 0 ? sizeof(long) : sizeof(int);
    if (conversion == 'd') {
        return std::is_integral_v<Value> && std::is_signed_v<Value> && sizeof(Value) == width;
    }
    if (conversion == 'u') {
        return std::is_integral_v<Value> && std::is_unsigned_v<Value> && sizeof(Value) == width;
    }
    return false;
}

// Moves past the next conversion and tells what it is; conversion 0 at the end of the format.
struct Cursor {
    const char* at;
    char conversion = 0;
    int longs = 0;

    constexpr void Next()
    {
        while (*at != '\0' && *at != '%') {
            ++at;
        }
        conversion = 0;
        longs = 0;
        if (*at == '\0') {
            return;
        }
        ++at;
        if (*at == '{') {
            while (*at != '}') {
                ++at;
            }
            ++at;
        }
        while (*at == 'l' || *at == 'z') {
            ++longs;
            ++at;
        }
        conversion = *at++;
    }
};

template <typename... Args>
constexpr bool Matches(const char* format)
{
    Cursor cursor{format};
    bool matches = true;
    ((cursor.Next(), matches = matches && FitsConversion<Args>(cursor.conversion, cursor.longs)), ...);
    cursor.Next();
    return matches && cursor.conversion == 0;
}
} // namespace LogFormat

// The message's own format starts behind the prefix.
#define TAVOMEND_LOG_PREFIX "[%{public}s(%{public}s):%{public}d] "

// Where a message comes from.
struct LogPlace {
    const char* fileName;
    const char* function;
    int line;
};

template <typename... Args>
void WriteLog(int32_t level, const LogPlace& place, const char* prefixedFormat, Args... args)
{
    if (TavomendKalogWrapper::JudgeLevel(level)) {
        KalogPrint(KALOG_TYPE_CORE, KALOG_DEBUG + level, LOG_DOMAIN, LOG_TAG, prefixedFormat, place.fileName,
                   place.function, place.line, args...);
    }
    const char* format = prefixedFormat + sizeof(TAVOMEND_LOG_PREFIX) - 1;
    char buffer[LOG_BUFFER_SIZE] = {0};
    if (sprintf_s(buffer, sizeof(buffer), TavomendLogger::FormatLog(format).c_str(), args...) > 0) {
        DelayedSingleton<TavomendLogger>::GetInstance()->OutputLog(buffer, place.fileName, place.function, place.line);
    }
}

// Names the argument types behind the format; never called.
template <typename... Args>
auto CheckOf(const char* format, const Args&...)
    -> std::integral_constant<bool (*)(const char*), &LogFormat::Matches<Args...>>;
} // namespace ORVX::TavomendEngine

#define TAVOMEND_LOG_FIRST_OF(first, ...) first
#define TAVOMEND_LOG(level, ...)                                                                                       \
    do {                                                                                                               \
        static_assert(                                                                                                 \
            decltype(::ORVX::TavomendEngine::CheckOf(__VA_ARGS__))::value(TAVOMEND_LOG_FIRST_OF(__VA_ARGS__, 0)),      \
            "the arguments do not fit the message's format");                                                          \
        ::ORVX::TavomendEngine::WriteLog(level, {__FILE_NAME__, __func__, __LINE__}, TAVOMEND_LOG_PREFIX __VA_ARGS__); \
    } while (false)

#define TAVOMEND_LOG_D(...) TAVOMEND_LOG(::ORVX::TavomendEngine::TAVOMEND_LOG_DEBUG, __VA_ARGS__)
#define TAVOMEND_LOG_I(...) TAVOMEND_LOG(::ORVX::TavomendEngine::TAVOMEND_LOG_INFO, __VA_ARGS__)
#define TAVOMEND_LOG_W(...) TAVOMEND_LOG(::ORVX::TavomendEngine::TAVOMEND_LOG_WARN, __VA_ARGS__)
#define TAVOMEND_LOG_E(...) TAVOMEND_LOG(::ORVX::TavomendEngine::TAVOMEND_LOG_ERROR, __VA_ARGS__)

#endif
