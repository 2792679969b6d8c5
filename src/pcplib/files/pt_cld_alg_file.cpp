#include "pcplib/files/pt_cld_alg_file.h"

#include "base/text.h"
#include "pcplib/files/format_string.h"
#include "pcplib/files/messages.h"
#include "pcplib/files/trace.h"

#include <algorithm>
#include <string_view>

namespace QelPcpLib {

namespace {

constexpr std::size_t kMaxToken = 255;  // a longer word counts as several
constexpr std::string_view kBlanks = " \t\n\v\f\r";

/// Takes the next word off the front of a text; empty when there is none.
std::string takeToken(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const std::size_t length = std::min({text.find_first_of(kBlanks), text.size(), kMaxToken});
    std::string token(text.substr(0, length));
    text.remove_prefix(length);
    return token;
}

/// Reads as many numbers as stand at the front of a line; what follows them is a comment.
void scanMatrixRow(const std::string& line, std::array<double, 16>& matrix, std::size_t row) {
    const char* at = line.c_str();
    for (std::size_t column = 0; column < 4; ++column) {
        const char* end = nullptr;
        const double value = brisko::parseDouble(at, &end);
        if (end == at) return;
        matrix[row + 4 * column] = value;
        at = end;
    }
}

template <class Number>
void scanNumber(const std::string& line, Number (*parse)(const char*, const char**),
                Number& number) {
    const char* end = nullptr;
    const Number value = parse(line.c_str(), &end);
    if (end != line.c_str()) number = value;
}

/// Takes the first three words of a line as numbers, 0 for a word that is none.
bool scanCorner(std::string_view line, std::array<double, 3>& corner) {
    bool any = false;
    for (double& coordinate : corner) {
        const std::string token = takeToken(line);
        if (token.empty()) break;
        const char* end = nullptr;
        coordinate = brisko::parseDouble(token.c_str(), &end);
        any = true;
    }
    return any;
}

}  // namespace

bool CPtCldAlgFile::WriteHeader(const AlgHeader& header) {
    Seek(0);
    std::string line;
    FormatString(line, "%s\n", header.version.c_str());
    writeLine(line);
    for (std::size_t row = 0; row < 4; ++row) {
        const auto& m = header.matrix;
        // Deliberate: no blank in front of the comment.
        FormatString(line, "%.12le %.12le %.12le %.12le//matrix %d\n", m[row], m[row + 4],
                     m[row + 8], m[row + 12], static_cast<int>(row) + 1);
        writeLine(line);
    }
    FormatString(line, "%f // max intensity\n", static_cast<double>(header.maxIntensity));
    writeLine(line);
    FormatString(line, "%f // min intensity\n", static_cast<double>(header.minIntensity));
    writeLine(line);
    FormatString(line, "%d // block size\n", static_cast<int>(header.blockSize));
    writeLine(line);
    return true;
}

bool CPtCldAlgFile::ReadHeader(AlgHeader& header) {
    std::string line;
    if (!Seek(0) || !ReadString(line)) return false;
    header.version = line;
    if (header.version != kAlgVersion) {
        TraceOut(message::kWrongVersion);
        return false;
    }
    for (std::size_t row = 0; row < 4; ++row) {
        if (!ReadString(line)) return false;
        scanMatrixRow(line, header.matrix, row);
    }
    if (ReadString(line)) scanNumber(line, brisko::parseFloat, header.maxIntensity);
    if (ReadString(line)) scanNumber(line, brisko::parseFloat, header.minIntensity);
    if (ReadString(line)) scanNumber(line, brisko::parseInt32, header.blockSize);
    return true;
}

bool CPtCldAlgFile::WriteArea(const AlgArea& area) {
    std::string line;
    FormatString(line, "%.12le %.12le %.12le // max area\n", area.max[0], area.max[1], area.max[2]);
    writeLine(line);
    FormatString(line, "%.12le %.12le %.12le // min area\n", area.min[0], area.min[1], area.min[2]);
    writeLine(line);
    return true;
}

bool CPtCldAlgFile::ReadArea(AlgArea& area) {
    std::string line;
    return ReadString(line) && scanCorner(line, area.max) &&  //
           ReadString(line) && scanCorner(line, area.min);
}

void CPtCldAlgFile::writeLine(const std::string& line) {
    Write(line.data(), static_cast<std::uint32_t>(line.size()));
}

}  // namespace QelPcpLib
