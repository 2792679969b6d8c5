#include "base/staged_file.h"

#include "base/file.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <cerrno>
#include <filesystem>

namespace brisko {
namespace {

using test::TempFolder;
using Names = std::vector<std::string>;

TEST(StagedFile, AppearsWhenItIsPublished) {
    const TempFolder folder;
    const std::string path = folder / "scan.clr";
    test::writeFile(path, "old");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    StagedFile staged;
    ASSERT_TRUE(staged.create(path));
    test::writeFile(staged.path(), "new and longer");
    EXPECT_EQ(test::readText(path), "old");
    int calls = 0;
    EXPECT_TRUE(staged.sync([&calls] { ++calls; }));
    EXPECT_GT(calls, 0);
    EXPECT_TRUE(staged.publish());
    EXPECT_EQ(test::readText(path), "new and longer");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0640});
    EXPECT_EQ(folder.names(), Names{"scan.clr"});
    EXPECT_FALSE(staged.publish());  // there is nothing left to publish
}

TEST(StagedFile, GoesWithItsObject) {
    const TempFolder folder;
    {
        StagedFile first, second, companion;
        ASSERT_TRUE(first.create(folder / "a"));
        ASSERT_TRUE(second.create(folder / "a"));
        EXPECT_NE(first.path(), second.path());
        test::writeFile(folder / "a.companion", "by a writer");
        companion.adopt(folder / "a.companion", folder / "b");
        EXPECT_EQ(folder.names().size(), 3U);
    }
    EXPECT_EQ(folder.names(), Names{});
}

TEST(StagedFile, PassesOverTemporariesThatAnotherProcessLeft) {
    const TempFolder folder;
    StagedFile staged;
    ASSERT_TRUE(staged.create(folder / "a"));
    // "a.PROCESS-7.tmp": the next ones are taken.
    const std::string name = staged.path();
    const std::size_t number = name.rfind('-') + 1;
    for (int next = 1; next <= 3; ++next) {
        test::writeFile(
            name.substr(0, number) + std::to_string(std::stoi(name.substr(number)) + next) + ".tmp",
            "of another process");
    }
    ASSERT_TRUE(staged.create(folder / "a"));
    test::writeFile(staged.path(), "new");
    ASSERT_TRUE(staged.publish());
    EXPECT_EQ(test::readText(folder / "a"), "new");
    EXPECT_EQ(folder.names().size(), 1U + 3U);
}

TEST(StagedFile, FollowsLinksAndKeepsThem) {
    const TempFolder folder;
    namespace fs = std::filesystem;
    fs::create_directory(folder / "store");
    fs::create_symlink("store/scan.clr", folder / "relative");  // nothing is there yet
    fs::create_symlink(folder / "relative", folder / "absolute");
    fs::create_symlink("circle", folder / "circle");
    StagedFile staged;
    ASSERT_TRUE(staged.create(folder / "absolute"));
    EXPECT_EQ(staged.target(), folder / "store/scan.clr");
    EXPECT_TRUE(staged.publish());
    EXPECT_TRUE(fs::is_symlink(folder / "absolute") && fs::is_symlink(folder / "relative"));
    EXPECT_TRUE(isSameFile(folder / "absolute", folder / "store/scan.clr"));
    EXPECT_FALSE(staged.create(folder / "circle"));
}

TEST(StagedFile, CannotBeCreatedWhereNoFileCanBe) {
    const TempFolder folder;
    const std::pair<std::string, int> cases[] = {
        {"", EINVAL},
        {"bad\xFFname", EINVAL},
        {folder.path().string(), EISDIR},
        {"/dev/null", EINVAL},
        {folder / "no/such/folder", ENOENT},
    };
    for (const auto& [target, error] : cases) {
        StagedFile staged;
        errno = 0;
        EXPECT_FALSE(staged.create(target)) << target;
        EXPECT_EQ(errno, error) << target;
    }
    EXPECT_EQ(folder.names(), Names{});
}

TEST(ReplaceFile, GivesNewContentOrLeavesTheOld) {
    const TempFolder folder;
    const std::string path = folder / "scan.alg";
    EXPECT_TRUE(replaceFile(path.c_str(), "first"));
    EXPECT_TRUE(replaceFile(path.c_str(), "second"));
    EXPECT_EQ(test::readText(path), "second");
    EXPECT_FALSE(replaceFile(folder.path().c_str(), "a folder is in the way"));
    EXPECT_FALSE(replaceFile(nullptr, "text"));
    EXPECT_EQ(folder.names(), Names{"scan.alg"});
}

}  // namespace
}  // namespace brisko
