#include "scan/formats/pcd/pcd_header.h"

#include "base/checked.h"
#include "base/text.h"
#include "scan/formats/ptx/number_text.h"

#include <algorithm>
#include <charconv>
#include <numeric>

namespace brisko::scan {
namespace {

constexpr std::uint64_t kLongestRecord = 1 << 16;  // bytes
constexpr std::string_view kOurs = "# brisko ";

std::string inSmallLetters(std::string_view text) {
    std::string small(text);
    for (char& c : small)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return small;
}

std::vector<std::string_view> wordsOf(std::string_view line) {
    constexpr const char* kBlanks = " \t\r";
    std::vector<std::string_view> words;
    for (std::size_t at = 0; (at = line.find_first_not_of(kBlanks, at)) != line.npos;) {
        const std::size_t end = std::min(line.find_first_of(kBlanks, at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

template <class Number>
bool parseWhole(std::string_view word, Number& number) {
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc{} && stop == word.data() + word.size();
}

template <std::size_t kCount>
bool parseReals(const std::vector<std::string_view>& words, std::array<double, kCount>& numbers) {
    if (words.size() != kCount) return false;
    for (std::size_t i = 0; i < kCount; ++i) {
        std::string_view word = words[i];
        if (!takeNumber(word, numbers[i]) || !word.empty()) return false;
    }
    return true;
}

/// Takes the header in line by line. Every function answers whether the line makes sense.
class Parser {
public:
    bool take(std::string_view line) {
        if (line.starts_with('#')) return takeComment(line);
        std::vector<std::string_view> words = wordsOf(line);
        if (words.empty()) return true;
        const std::string key = inSmallLetters(words[0]);
        words.erase(words.begin());
        return takeKey(key, words);
    }

    bool isComplete() const { return m_isComplete; }

    /// What the keys say together; the reason where they do not fit each other.
    std::string finish(PcdHeader& header) {
        if (std::string reason = placeFields(); !reason.empty()) return reason;
        findRoles();
        for (const PcdRole role : {PcdRole::X, PcdRole::Y, PcdRole::Z}) {
            if (!m_header.field(role)) return "it has no fields x, y and z";
        }
        if (!m_hasWidth) m_header.width = m_header.points;
        const auto cells = checkedMultiply(m_header.width, m_header.height);
        if (!m_hasPoints && cells) m_header.points = *cells;
        if (!cells || *cells != m_header.points) return "POINTS is not WIDTH times HEIGHT";
        header = std::move(m_header);
        return {};
    }

private:
    bool takeComment(std::string_view line) {
        if (!line.starts_with(kOurs)) return true;
        std::vector<std::string_view> words = wordsOf(line.substr(kOurs.size()));
        if (words.empty()) return true;
        const std::string_view key = words[0];
        words.erase(words.begin());
        if (key == "grid") m_header.isOurGrid = true;
        std::array<double, 16> matrix{};
        if (key == "matrix" && parseReals(words, matrix)) m_header.matrix = matrix;
        return true;
    }

    bool takeKey(const std::string& key, const std::vector<std::string_view>& words) {
        if (key == "fields" || key == "columns") return takeFields(words);
        if (key == "size") {
            return eachField(words, [](PcdField& field, std::string_view word) {
                return parseWhole(word, field.size);
            });
        }
        if (key == "type") {
            return eachField(words, [](PcdField& field, std::string_view word) {
                field.type = word[0];
                return word.size() == 1;
            });
        }
        if (key == "count") {
            return eachField(words, [](PcdField& field, std::string_view word) {
                return parseWhole(word, field.count);
            });
        }
        if (key == "viewpoint") return parseReals(words, m_header.viewpoint);
        if (words.size() != 1) return false;
        if (key == "version") {
            m_header.version = words[0];
            return true;
        }
        if (key == "width") return m_hasWidth = parseWhole(words[0], m_header.width);
        if (key == "height") return parseWhole(words[0], m_header.height);
        if (key == "points") return m_hasPoints = parseWhole(words[0], m_header.points);
        return key == "data" && takeData(words[0]);
    }

    bool takeFields(const std::vector<std::string_view>& words) {
        if (!m_header.fields.empty()) return false;
        for (const std::string_view word : words)
            m_header.fields.push_back({.name = std::string(word)});
        return !words.empty();
    }

    template <class Set>
    bool eachField(const std::vector<std::string_view>& words, const Set& set) {
        if (words.size() != m_header.fields.size()) return false;
        for (std::size_t i = 0; i < words.size(); ++i) {
            if (!set(m_header.fields[i], words[i])) return false;
        }
        return true;
    }

    bool takeData(std::string_view word) {
        m_isComplete = true;
        if (word == "ascii") m_header.data = PcdData::Ascii;
        if (word == "binary") m_header.data = PcdData::Binary;
        if (word == "binary_compressed") m_header.data = PcdData::Compressed;
        return word == "ascii" || word == "binary" || word == "binary_compressed";
    }

    std::string placeFields() {
        for (PcdField& field : m_header.fields) {
            const bool isReal = field.type == 'F' && (field.size == 4 || field.size == 8);
            const bool isWhole =
                (field.type == 'I' || field.type == 'U') &&
                (field.size == 1 || field.size == 2 || field.size == 4 || field.size == 8);
            if (!field.isPadding() && !isReal && !isWhole) {
                return "field " + field.name + " is of no known SIZE and TYPE";
            }
            const auto bytes = checkedMultiply(field.size, field.count);
            if (!bytes || *bytes > kLongestRecord) return "field " + field.name + " is too long";
            field.offset = m_header.recordSize;
            m_header.recordSize += *bytes;
            if (field.isPadding()) m_header.paddingSize += *bytes;
            if (m_header.recordSize > kLongestRecord) return "its points are too long";
        }
        return {};
    }

    void findRoles() {
        for (std::size_t i = 0; i < m_header.fields.size(); ++i) {
            const PcdField& field = m_header.fields[i];
            const auto role = roleOf(field);
            if (!role || field.count == 0) continue;
            auto& index = m_header.roles[static_cast<std::size_t>(*role)];
            if (!index) index = i;
        }
    }

    static std::optional<PcdRole> roleOf(const PcdField& field) {
        constexpr struct {
            const char* name;
            PcdRole role;
        } kNames[] = {
            {"x", PcdRole::X},         {"y", PcdRole::Y},
            {"z", PcdRole::Z},         {"intensity", PcdRole::Intensity},
            {"i", PcdRole::Intensity}, {"red", PcdRole::Red},
            {"r", PcdRole::Red},       {"green", PcdRole::Green},
            {"g", PcdRole::Green},     {"blue", PcdRole::Blue},
            {"b", PcdRole::Blue},      {"column", PcdRole::Column},
            {"row", PcdRole::Row},
        };
        const std::string name = inSmallLetters(field.name);
        if ((name == "rgb" || name == "rgba") && field.size == 4) return PcdRole::Packed;
        const auto* const found =
            std::find_if(std::begin(kNames), std::end(kNames),
                         [&](const auto& known) { return name == known.name; });
        if (found == std::end(kNames)) return {};
        return found->role;
    }

    PcdHeader m_header;
    bool m_hasWidth = false, m_hasPoints = false, m_isComplete = false;
};

}  // namespace

std::uint64_t PcdHeader::values() const {
    return std::accumulate(
        fields.begin(), fields.end(), std::uint64_t{0},
        [](std::uint64_t sum, const PcdField& field) { return sum + field.count; });
}

std::string parsePcdHeader(std::string_view file, PcdHeader& header) {
    Parser parser;
    std::size_t at = 0;
    for (int number = 1; !parser.isComplete(); ++number) {
        const std::size_t end = file.find('\n', at);
        if (end == file.npos) return "not a PCD file: no line with DATA ends its header";
        std::string_view line = file.substr(at, end - at);
        if (number == 1 && line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
        if (!parser.take(line)) {
            return "line " + std::to_string(number) + " of the header makes no sense";
        }
        at = end + 1;
    }
    std::string reason = parser.finish(header);
    header.dataOffset = at;
    return reason;
}

std::string pcdHeaderText(const PcdHeader& header, const std::string& software) {
    constexpr std::size_t kMostDigits = 20;
    std::string text = "# .PCD v0.7 - Point Cloud Data file format\n# made by " + software +
                       "; metres; intensity 0 to 2200\n";
    if (header.isOurGrid) text += std::string(kOurs) + "grid\n";
    if (header.matrix) {
        text += std::string(kOurs) + "matrix";
        for (const double element : *header.matrix)
            text += formatText(" %.17g", element);
        text += "\n";
    }
    std::string names = "FIELDS", sizes = "SIZE", types = "TYPE", counts = "COUNT",
                pose = "VIEWPOINT";
    for (const PcdField& field : header.fields) {
        names += " " + field.name;
        sizes += " " + std::to_string(field.size);
        types += std::string(" ") + field.type;
        counts += " " + std::to_string(field.count);
    }
    for (const double number : header.viewpoint)
        pose += formatText(" %.17g", number);
    const std::string width = std::to_string(header.width), height = std::to_string(header.height),
                      points = std::to_string(header.points);
    const std::size_t digits = width.size() + height.size() + points.size();
    text += "# " + std::string(3 * kMostDigits - digits, '.') + "\nVERSION 0.7\n";
    for (const std::string& line : {names, sizes, types, counts, "WIDTH " + width,
                                    "HEIGHT " + height, pose, "POINTS " + points})
        text += line + "\n";
    return text + "DATA binary\n";
}

}  // namespace brisko::scan
