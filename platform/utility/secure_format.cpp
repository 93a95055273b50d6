#include "platform/utility/secure_format.h"

#include <cstdarg>
#include <cstdio>

namespace ORVX::TavomendEngine {
int sprintf_s(char* buffer, size_t size, const char* format, ...)
{
    if (buffer == nullptr || size == 0) {
        return -1;
    }
    buffer[0] = '\0';
    if (format == nullptr) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<size_t>(length) >= size) {
        buffer[0] = '\0';
        return -1;
    }
    return length;
}
} // namespace ORVX::TavomendEngine
