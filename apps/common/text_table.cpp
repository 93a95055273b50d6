#include "apps/common/text_table.h"

#include <algorithm>

#include "apps/common/printable.h"

namespace ORVX::Cli {
TextTable::TextTable(std::vector<std::string> header) : rows_{std::move(header)} {}

void TextTable::Add(std::vector<std::string> row)
{
    row.resize(rows_.front().size());
    std::transform(row.begin(), row.end(), row.begin(), Printable);
    rows_.push_back(std::move(row));
}

std::string TextTable::ToString() const
{
    std::vector<size_t> widths(rows_.front().size(), 0);
    for (const auto& row : rows_) {
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const auto& row : rows_) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}
} // namespace ORVX::Cli
