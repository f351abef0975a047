#pragma once

#include <clocale>
#include <locale>
#include <string>

namespace qormath::test {

/// While it lives the C++ global locale has a decimal comma and groups digits, and so has the C locale, if the machine
/// has such a locale at all.
class CommaLocale {
  public:
    CommaLocale()
        : before(std::locale::global(std::locale(std::locale::classic(), new Comma))),
          beforeC(std::setlocale(LC_ALL, nullptr)) {
        for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "nl_NL.UTF-8", "de_DE", "fr_FR"}) {
            if (std::setlocale(LC_ALL, name) != nullptr) {
                break;
            }
        }
    }

    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    ~CommaLocale() {
        std::locale::global(before);
        std::setlocale(LC_ALL, beforeC.c_str());
    }

  private:
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };

    std::locale before;
    std::string beforeC;
};

}  // namespace qormath::test
