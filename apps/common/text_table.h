// A table for people, as both programs print lists: columns as wide as their longest cell in bytes, two blanks between
// them, none at a line's end.
#ifndef TAVOMEND_APPS_COMMON_TEXT_TABLE_H
#define TAVOMEND_APPS_COMMON_TEXT_TABLE_H

#include <string>
#include <vector>

namespace ORVX::Cli {
class TextTable {
public:
    // At least one column.
    explicit TextTable(std::vector<std::string> header);
    // Cells beyond the header's columns are dropped, missing ones stay empty. Cells are made Printable.
    void Add(std::vector<std::string> row);
    // The header and the rows in the order in which they came, a line each.
    [[nodiscard]] std::string ToString() const;

private:
    std::vector<std::vector<std::string>> rows_;
};
} // namespace ORVX::Cli

#endif
