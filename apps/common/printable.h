// Text of others, made fit to be shown.
#ifndef TAVOMEND_APPS_COMMON_PRINTABLE_H
#define TAVOMEND_APPS_COMMON_PRINTABLE_H

#include <string>

namespace ORVX::Cli {
// The text on one line: control characters, also those of U+0080 to U+009F, and bytes that are no UTF-8 come as \n, \t,
// \r or \xNN; everything else stays. For names, paths, arguments and texts out of files, which could otherwise move the
// cursor, colour the terminal or pass for a line of the program's own.
[[nodiscard]] std::string Printable(const std::string& text);
// The same for a text of several lines, whose line feeds stay.
[[nodiscard]] std::string PrintableLines(const std::string& text);
} // namespace ORVX::Cli

#endif
