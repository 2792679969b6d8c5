#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace brisko::scan::e57 {

/// An element of an XML text.
struct XmlNode {
    std::string name;  // with its prefix
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;
    std::vector<XmlNode> children;

    /// The first child of a name; null where there is none.
    const XmlNode* child(std::string_view childName) const;
    /// An attribute's value; null where there is none.
    const std::string* attribute(std::string_view attributeName) const;
};

/// Reads a text whose parts a function hands out; an empty one is the end. Refuses what the format has no
/// use for: document types (and with them entities), elements too deep in each other.
/// Throws std::runtime_error with the line and the reason.
XmlNode parseXml(const std::function<std::string_view()>& nextPart);

}  // namespace brisko::scan::e57
