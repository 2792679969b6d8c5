#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

/// Numbers in text files: always with a decimal point, whatever locale the host has set.
namespace brisko {

/// printf into a string of the size it takes, in the "C" locale.
__attribute__((format(printf, 1, 2))) std::string formatText(const char* format, ...);
std::string formatTextV(const char* format, std::va_list arguments);

/// strtod and strtof in the "C" locale.
double parseDouble(const char* text, const char** end);
float parseFloat(const char* text, const char** end);

/// strtol of a decimal number; beyond 32 bits the nearest end of the range.
std::int32_t parseInt32(const char* text, const char** end);

}  // namespace brisko
