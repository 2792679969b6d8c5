#include "scan/formats/e57/xml_tree.h"

#include <expat.h>

#include <memory>
#include <stdexcept>

namespace brisko::scan::e57 {
namespace {

constexpr std::size_t kMostDepth = 64;

class TreeBuilder {
public:
    TreeBuilder() {
        if (!m_parser) throw std::bad_alloc();
        XML_SetUserData(m_parser.get(), this);
        XML_SetElementHandler(m_parser.get(), start, end);
        XML_SetCharacterDataHandler(m_parser.get(), characters);
        XML_SetStartDoctypeDeclHandler(m_parser.get(), documentType);
    }

    void add(std::string_view text, bool isLast) {
        if (XML_Parse(m_parser.get(), text.data(), static_cast<int>(text.size()), isLast) ==
            XML_STATUS_OK) {
            return;
        }
        throw std::runtime_error(
            "line " + std::to_string(XML_GetCurrentLineNumber(m_parser.get())) + ": " +
            (m_refusal ? m_refusal : XML_ErrorString(XML_GetErrorCode(m_parser.get()))));
    }
    XmlNode takeRoot() { return std::move(m_document.children.front()); }

private:
    struct ParserDestroyer {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    void refuse(const char* reason) {
        if (!m_refusal) m_refusal = reason;
        XML_StopParser(m_parser.get(), XML_FALSE);
    }

    void open(const char* name, const char** attributes) {
        if (m_parents.size() > kMostDepth) {
            refuse("its elements lie too deep in each other");
            return;
        }
        XmlNode& node = m_parents.back()->children.emplace_back();
        node.name = name;
        for (const char** at = attributes; *at; at += 2)
            node.attributes.emplace_back(at[0], at[1]);
        m_parents.push_back(&node);
    }

    /// Runs what may lack memory, in a call from C.
    template <class Work>
    static void run(void* user, const Work& work) {
        auto& builder = *static_cast<TreeBuilder*>(user);
        try {
            work(builder);
        } catch (const std::exception&) {
            builder.refuse("the memory does not suffice for it");
        }
    }
    static void start(void* user, const char* name, const char** attributes) {
        run(user, [&](TreeBuilder& builder) { builder.open(name, attributes); });
    }
    static void end(void* user, const char*) {
        static_cast<TreeBuilder*>(user)->m_parents.pop_back();
    }
    static void characters(void* user, const char* text, int size) {
        run(user, [&](TreeBuilder& builder) {
            builder.m_parents.back()->text.append(text, static_cast<std::size_t>(size));
        });
    }
    static void documentType(void* user, const char*, const char*, const char*, int) {
        static_cast<TreeBuilder*>(user)->refuse("it has a document type");
    }

    std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDestroyer> m_parser{
        XML_ParserCreate(nullptr)};
    XmlNode m_document;  // whose only child is the root
    std::vector<XmlNode*> m_parents{&m_document};
    const char* m_refusal = nullptr;
};

}  // namespace

const XmlNode* XmlNode::child(std::string_view childName) const {
    for (const XmlNode& node : children) {
        if (node.name == childName) return &node;
    }
    return nullptr;
}

const std::string* XmlNode::attribute(std::string_view attributeName) const {
    for (const auto& [key, value] : attributes) {
        if (key == attributeName) return &value;
    }
    return nullptr;
}

XmlNode parseXml(const std::function<std::string_view()>& nextPart) {
    TreeBuilder builder;
    for (std::string_view part = nextPart(); !part.empty(); part = nextPart())
        builder.add(part, false);
    builder.add({}, true);
    return builder.takeRoot();
}

}  // namespace brisko::scan::e57
