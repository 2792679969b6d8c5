#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace brisko::tool {

/// A document as text. Paths and texts of headers may hold anything; what is not UTF-8 is replaced.
///   indent  blanks a level; negative: all on one line
std::string jsonText(const nlohmann::ordered_json& document, int indent);

/// Prints a document as one of the tool's results.
void printDocument(const nlohmann::ordered_json& document);

}  // namespace brisko::tool
