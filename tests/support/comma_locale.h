#pragma once

#include <clocale>
#include <cstdlib>
#include <string>

#include "support/temp_folder.h"

namespace brisko::test {

/// A locale with a decimal comma for the whole process, while the object lives. Made from the
/// system's locale sources where none is installed.
class CommaLocale {
public:
    CommaLocale() : m_previous(std::setlocale(LC_ALL, nullptr)) {
        if (useInstalled() || useMade()) return;
        std::setlocale(LC_ALL, m_previous.c_str());
    }
    ~CommaLocale() {
        std::setlocale(LC_ALL, m_previous.c_str());
        unsetenv("LOCPATH");
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    /// Whether numbers have a comma now.
    static bool isComma() { return *std::localeconv()->decimal_point == ','; }

private:
    static bool useInstalled() {
        for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "es_ES.UTF-8"}) {
            if (std::setlocale(LC_ALL, name) && isComma()) return true;
        }
        return false;
    }
    bool useMade() const {
        const std::string command = "localedef --no-archive -i de_DE -f UTF-8 '" +
                                    (m_made / "de_DE.UTF-8") + "' >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) return false;
        setenv("LOCPATH", m_made.path().c_str(), 1);
        return std::setlocale(LC_ALL, "de_DE.UTF-8") && isComma();
    }

    std::string m_previous;
    TempFolder m_made;
};

}  // namespace brisko::test
