#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qormath::cli {

/// Text of a model file as UTF-8: unchanged if it is that already, otherwise taken for ISO 8859-1, as older
/// identification software writes it.
std::string toUtf8(std::string_view text);

/// Text for a terminal: UTF-8, with control characters replaced, so that it stays on its line and steers nothing.
std::string printable(std::string_view text);

/// The number with the digits told, as short as they allow, with a decimal point in every locale.
std::string formatNumber(double value, int significantDigits = 6);

/// The number in words for a list of things: "none", or their names with commas.
std::string joined(const std::vector<std::string>& names);

/// Labels and what is to be said about each, a line each, the second column aligned.
class FactTable {
  public:
    void add(const std::string& label, const std::string& value) { facts_.emplace_back(label, value); }
    void print(std::ostream& out) const;

  private:
    std::vector<std::pair<std::string, std::string>> facts_;
};

/// Prints rows of cells; the first column is flush left, the others are flush right.
void printGrid(std::ostream& out, const std::vector<std::vector<std::string>>& rows);

}  // namespace qormath::cli
