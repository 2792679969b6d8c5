#include "common/json_text.h"

#include <iostream>

namespace brisko::tool {

std::string jsonText(const nlohmann::ordered_json& document, int indent) {
    return document.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

void printDocument(const nlohmann::ordered_json& document) {
    std::cout << jsonText(document, 2) << "\n";
}

}  // namespace brisko::tool
