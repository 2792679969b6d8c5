#pragma once

#include "base/text.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace brisko::scan::e57 {

/// Writes XML elements one after the other, each into the one that was opened last.
class XmlWriter {
public:
    void open(const std::string& name, const std::string& attributes) {
        m_text += "<" + name + " " + attributes + ">\n";
        m_open.push_back(name);
    }
    void openStructure(const std::string& name) { open(name, "type=\"Structure\""); }
    void openVector(const std::string& name) {
        open(name, "type=\"Vector\" allowHeterogeneousChildren=\"1\"");
    }
    void close() {
        m_text += "</" + m_open.back() + ">\n";
        m_open.pop_back();
    }
    void element(const std::string& name, const std::string& attributes, const std::string& value) {
        m_text += "<" + name + " " + attributes + ">" + value + "</" + name + ">\n";
    }

    /// A text; nothing is written where it is empty.
    void text(const std::string& name, const std::string& value) {
        if (!value.empty()) element(name, "type=\"String\"", asItStands(value));
    }
    void real(const std::string& name, double value) {
        element(name, "type=\"Float\"", digits(value));
    }
    void whole(const std::string& name, std::uint64_t value) {
        element(name, "type=\"Integer\"", std::to_string(value));
    }

    static std::string digits(double value) { return formatText("%.17g", value); }
    /// Every character stands for itself; control characters have no place in XML.
    static std::string asItStands(const std::string& value) {
        std::string out = "<![CDATA[";
        for (const char c : value) {
            if (static_cast<unsigned char>(c) < 0x20) continue;
            if (c == '>' && out.ends_with("]]")) out += "]]><![CDATA[";
            out += c;
        }
        return out + "]]>";
    }

    std::string take() { return std::move(m_text); }

private:
    std::string m_text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    std::vector<std::string> m_open;
};

}  // namespace brisko::scan::e57
