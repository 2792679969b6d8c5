#include "pcplib/files/cp_stdio_file.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QelPcpLib {
namespace {

using namespace brisko::test;

TEST(CpStdioFile, ReadsLinesUpToTheFirstEmptyOne) {
    using Lines = std::vector<std::string>;
    const std::string longest(4096, 'x');
    const struct {
        std::string content;
        Lines lines;
    } cases[] = {
        {"", {}},
        {"a\nb\n", {"a", "b"}},
        {"a\nlast", {"a", "last"}},
        {"a\r\nb\r\n", {"a", "b"}},
        {"a\rb\r\n", {"a\rb"}},  // a lone carriage return stays
        {"a\r\r\n", {"a\r"}},    // and only the one in front of the line feed goes
        {"a\r", {"a"}},          // or of the end of the file
        {"a\n\nb\n", {"a"}},     // an empty line ends the reading
        {"a\n\r\nb\n", {"a"}},   // with CR LF too
        {" \nb", {" ", "b"}},    // a blank one does not
        {longest + "\nb", {longest, "b"}},
        {longest + "\r\nb", {longest, "b"}},
        {longest + "yy\nb", {longest, "b"}},  // what is too long is dropped, not a line of its own
        {longest + std::string(3'000'000, 'y') + "\nb", {longest}},
        {std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
    };
    for (const auto& [content, lines] : cases) {
        const TempFolder folder;
        writeFile(folder / "text", content);
        CpStdioFile file;
        EXPECT_TRUE(file.Open(folder / "text", OpenMode::ReadText));
        Lines read;
        for (std::string line; file.ReadString(line);)
            read.push_back(line);
        EXPECT_EQ(read, lines) << content.substr(0, 20);
    }
}

}  // namespace
}  // namespace QelPcpLib
