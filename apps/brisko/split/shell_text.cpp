#include "split/shell_text.h"

#include "common/message.h"

namespace brisko::tool {

std::string shellText(const std::string& path) {
    if (path.find_first_of("\r\n") != std::string::npos) {
        throw ScanError(ErrorKind::Request, path,
                        "a name with the end of a line in it cannot stand in a list of jobs");
    }
    // A name that begins like an option would be taken for one.
    std::string word = path.starts_with('-') ? "./" + path : path;
    constexpr const char* kPlain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./-+:,@%=";
    if (word.find_first_not_of(kPlain) == std::string::npos && !word.empty()) return word;
    std::string quoted = "'";
    for (const char c : word)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::string filledIn(const std::string& text,
                     const std::vector<std::pair<std::string, std::string>>& values) {
    std::string filled;
    for (std::size_t at = 0; at < text.size();) {
        const auto* found = &values.front();
        for (; found != &values.front() + values.size(); ++found) {
            if (text.compare(at, found->first.size(), found->first) == 0) break;
        }
        const bool isName = found != &values.front() + values.size();
        filled += isName ? found->second : std::string(1, text[at]);
        at += isName ? found->first.size() : 1;
    }
    return filled;
}

}  // namespace brisko::tool
