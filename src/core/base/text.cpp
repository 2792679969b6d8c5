#include "base/text.h"

#include <locale.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace brisko {

namespace {

/// Never freed: it serves until the process ends. Null where even "C" cannot be had (out of memory).
locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

/// The "C" locale for this thread alone, while the object lives.
class CLocaleScope {
public:
    CLocaleScope() : m_previous(cLocale() ? uselocale(cLocale()) : nullptr) {}
    ~CLocaleScope() {
        if (m_previous) uselocale(m_previous);
    }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    locale_t m_previous;
};

}  // namespace

std::string formatTextV(const char* format, std::va_list arguments) {
    const CLocaleScope scope;
    std::va_list again;
    va_copy(again, arguments);
    // The analyzer does not see that every caller has started its list.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text;
    if (length > 0) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

std::string formatText(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = formatTextV(format, arguments);
    va_end(arguments);
    return text;
}

double parseDouble(const char* text, const char** end) {
    char* stop = nullptr;
    const double value = strtod_l(text, &stop, cLocale());
    *end = stop;
    return value;
}

float parseFloat(const char* text, const char** end) {
    char* stop = nullptr;
    const float value = strtof_l(text, &stop, cLocale());
    *end = stop;
    return value;
}

std::int32_t parseInt32(const char* text, const char** end) {
    using Limits = std::numeric_limits<std::int32_t>;
    char* stop = nullptr;
    const long long value = strtoll_l(text, &stop, 10, cLocale());
    *end = stop;
    return static_cast<std::int32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

}  // namespace brisko
