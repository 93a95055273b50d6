// A table for people: columns as wide as their longest cell.
#ifndef TAVOMEND_APPS_COMMON_TEXT_TABLE_H
#define TAVOMEND_APPS_COMMON_TEXT_TABLE_H

#include <string>
#include <vector>

namespace ORVX::Cli {
class TextTable {
public:
    explicit TextTable(std::vector<std::string> header);
    void Add(std::vector<std::string> row);
    [[nodiscard]] std::string ToString() const;

private:
    std::vector<std::vector<std::string>> rows_;
};
} // namespace ORVX::Cli

#endif
