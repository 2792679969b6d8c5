#pragma once

#include <clocale>
#include <string>

namespace brisko::test {

/// A locale with a decimal comma for the whole process, while the object lives.
class CommaLocale {
public:
    CommaLocale() : m_previous(std::setlocale(LC_ALL, nullptr)) {
        for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "fr_FR", "es_ES.UTF-8"}) {
            if (std::setlocale(LC_ALL, name) && isComma()) return;
        }
        std::setlocale(LC_ALL, m_previous.c_str());
    }
    ~CommaLocale() { std::setlocale(LC_ALL, m_previous.c_str()); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    /// Whether this machine has such a locale; a test without one has nothing to show.
    static bool isComma() { return *std::localeconv()->decimal_point == ','; }

private:
    std::string m_previous;
};

}  // namespace brisko::test
