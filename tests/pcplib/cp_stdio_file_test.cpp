#include "pcplib/files/cp_stdio_file.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cerrno>
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

TEST(CpStdioFile, OpensNothingButReadableFiles) {
    const TempFolder folder;
    writeFile(folder / "victim", "text");
    const std::pair<std::string, int> cases[] = {
        {folder / "missing", ENOENT},
        {folder.path().string(), EISDIR},
        {"", EINVAL},
        {folder / "\xff", EINVAL},
        {(folder / "victim") + std::string("\0.alg", 5), EINVAL},
    };
    for (const auto& [path, reason] : cases) {
        CpStdioFile file;
        errno = 0;
        EXPECT_FALSE(file.Open(path, OpenMode::ReadText)) << path;
        EXPECT_EQ(errno, reason) << path;
        std::string line = "old";
        EXPECT_FALSE(file.ReadString(line));
        EXPECT_EQ(line, "");
    }
}

TEST(CpStdioFile, WritesLinesIntoAFreshFile) {
    const TempFolder folder;
    const std::string path = folder / "\xc3\xa9.txt";  // names are UTF-8
    writeFile(path, "an older and longer text");
    CpStdioFile file;
    ASSERT_TRUE(file.Open(path, OpenMode::WriteText));
    EXPECT_EQ(file.GetFilePath(), path);
    EXPECT_TRUE(file.Write("one\n", 4));
    EXPECT_TRUE(file.Write("two\n", 4));
    file.Close();
    EXPECT_FALSE(file.Write("x", 1));
    EXPECT_FALSE(file.HasFailed());
    EXPECT_EQ(file.GetLength(), 8u);
    EXPECT_EQ(readText(path), "one\ntwo\n");
}

}  // namespace
}  // namespace QelPcpLib
