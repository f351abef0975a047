#include <cstddef>

#include <qormath/models/detail/fir_lines.hpp>
#include <qormath/models/detail/scan.hpp>

namespace qormath::models {
namespace {

constexpr int listColumnsBeforeName = 36;
constexpr int columnsBeforeGain = 36;
constexpr int textWidth = 12;
constexpr int countWidth = 5;

// isgraph and toupper of the C locale.
bool isGraphic(char c) {
    return c > ' ' && c <= '~';
}

char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

void storeCleaned(std::string_view text, std::array<char, firTextSize>& target) {
    const std::string_view kept = trimToGraphic(text);
    target.fill('\0');
    for (std::size_t k = 0; k < textWidth && k < kept.size(); ++k) {
        target[k] = upper(kept[k]);
    }
}

// Name, one column between, descriptor; the descriptor is empty where the line ends before it.
bool scanTexts(Scanner& scanner, FIRTexts& texts, bool& hasDescriptor) {
    std::string_view name;
    std::string_view descriptor;
    if (!scanner.characters(textWidth, name)) {
        return false;
    }
    hasDescriptor = scanner.skip(1) && scanner.characters(textWidth, descriptor);
    storeCleaned(name, texts.name);
    storeCleaned(hasDescriptor ? descriptor : std::string_view{}, texts.descriptor);
    return true;
}

}  // namespace

std::string_view trimToGraphic(std::string_view text) {
    while (!text.empty() && !isGraphic(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool parseInteger(std::string_view line, int& value) {
    return Scanner(line).integer(value);
}

bool parseFloat(std::string_view line, float& value) {
    return Scanner(line).real(value);
}

bool parseInputLine(std::string_view line, FIRTexts& texts) {
    Scanner scanner(line);
    bool hasDescriptor = false;
    return scanner.skip(listColumnsBeforeName) && scanTexts(scanner, texts, hasDescriptor);
}

bool parseOutputLine(std::string_view line, FIRTexts& texts, int& ramp, int& curves) {
    Scanner scanner(line);
    bool hasDescriptor = false;
    return scanner.skip(listColumnsBeforeName) && scanTexts(scanner, texts, hasDescriptor) && hasDescriptor &&
           scanner.integer(ramp, countWidth) && scanner.integer(curves, countWidth);
}

bool parseBlockLine(std::string_view line, FIRTexts& texts, int& ramp) {
    Scanner scanner(line);
    bool hasDescriptor = false;
    return scanTexts(scanner, texts, hasDescriptor) && hasDescriptor && scanner.integer(ramp, countWidth);
}

bool parseGainLine(std::string_view line, double& gain) {
    Scanner scanner(line);
    return scanner.skip(columnsBeforeGain) && scanner.real(gain);
}

bool parseCurveNameLine(std::string_view line, FIRTexts& texts) {
    Scanner scanner(line);
    bool hasDescriptor = false;
    return scanTexts(scanner, texts, hasDescriptor);
}

bool parseDataLine(std::string_view line, float* values) {
    Scanner scanner(line);
    return scanner.real(values[0]) && scanner.real(values[1]) && scanner.real(values[2]) && scanner.real(values[3]) &&
           scanner.real(values[4]);
}

bool parseFixedDataLine(const char* text, float* values) {
    static_assert(firDataLineLength == firValuesPerLine * fixedColumnWidth);
    return text[firDataLineLength] == '\n' && readFixedColumns(text, firValuesPerLine, values);
}

}  // namespace qormath::models
