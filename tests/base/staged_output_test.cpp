#include "base/staged_output.h"

#include "base/file.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <cerrno>
#include <filesystem>

namespace brisko {
namespace {

namespace fs = std::filesystem;
using test::readText;
using test::TempFolder;
using test::writeFile;
using Names = std::vector<std::string>;

constexpr auto kScan = StagedOutput::Companions::ByExtension;
constexpr auto kAlone = StagedOutput::Companions::None;

TEST(StagedOutput, AppearsWhenItIsPublishedWithThePermissionsOfWhatItReplaces) {
    const TempFolder folder;
    for (const char* name : {"scan.cl3", "scan.ij"}) {
        writeFile(folder / name, "old");
        ASSERT_EQ(chmod((folder / name).c_str(), 0640), 0);
    }
    StagedOutput staged;
    ASSERT_TRUE(staged.create(folder / "scan.cl3", kScan));
    writeFile(staged.path(), "new and longer");
    for (const char* extension : {".ij", ".alg"})
        writeFile(staged.companion(extension), extension);
    EXPECT_EQ(readText(folder / "scan.cl3"), "old");
    int calls = 0;
    EXPECT_TRUE(staged.sync([&calls] { ++calls; }));
    EXPECT_GT(calls, 2);
    EXPECT_TRUE(staged.publish());
    EXPECT_EQ(readText(folder / "scan.cl3"), "new and longer");
    for (const char* name : {"scan.cl3", "scan.ij"})
        EXPECT_EQ(fs::status(folder / name).permissions(), fs::perms{0640}) << name;
    EXPECT_EQ(folder.names(), (Names{"scan.alg", "scan.cl3", "scan.ij"}));
    EXPECT_FALSE(staged.publish());  // there is nothing left to publish
}

TEST(StagedOutput, GoesWithItsObjectAndChangesNothing) {
    const TempFolder folder;
    writeFile(folder / "a.ij", "old");
    {
        StagedOutput first, second, third;
        ASSERT_TRUE(first.create(folder / "a.cl3", kScan));
        ASSERT_TRUE(second.create(folder / "a.cl3", kScan));
        ASSERT_TRUE(third.create(folder / "b.cl3", kScan, &second));
        EXPECT_EQ(folder.names().size(), 1U + 2U);
        for (const StagedOutput* staged : {&first, &second, &third})
            writeFile(staged->companion(".ij"), "by a writer");
        EXPECT_TRUE(third.publish());
    }
    EXPECT_EQ(folder.names(), (Names{"a.ij", "b.cl3", "b.ij"}));
    EXPECT_EQ(readText(folder / "a.ij"), "old");
}

TEST(StagedOutput, OlderCompanionsGoWithTheScanThatTheyDescribe) {
    const std::string longest(251, 'n');
    const struct {
        const char* extension;
        StagedOutput::Companions companions;
        Names left;
    } cases[] = {{".cl3", kScan, {".cl3"}},
                 {".clr", kScan, {".clr", ".ij"}},
                 {".ply", kScan, {".alg", ".ij", ".ply"}},
                 {".clr", kAlone, {".alg", ".clr", ".ij"}}};
    for (const auto& c : cases) {
        for (const bool isReplacing : {false, true}) {
            const TempFolder folder;
            for (const char* extension : {".ij", ".alg"})
                writeFile(folder / (longest + extension), "old");
            if (isReplacing) writeFile(folder / (longest + c.extension), "old");
            StagedOutput staged;
            ASSERT_TRUE(staged.create(folder / (longest + c.extension), c.companions));
            EXPECT_TRUE(staged.publish());
            Names left;
            for (const std::string& name : folder.names())
                left.push_back(name.substr(longest.size()));
            EXPECT_EQ(left, c.left) << c.extension;
        }
    }
}

TEST(StagedOutput, FollowsLinksToItsPlaceAndKeepsThem) {
    const TempFolder folder;
    fs::create_directory(folder / "store");
    fs::create_symlink("store/scan.clr", folder / "relative");  // nothing is there yet
    fs::create_symlink(folder / "relative", folder / "absolute");
    fs::create_symlink("circle", folder / "circle");
    StagedOutput staged;
    ASSERT_TRUE(staged.create(folder / "absolute", kScan));
    EXPECT_EQ(staged.target(), folder / "store/scan.clr");
    EXPECT_TRUE(staged.publish());
    EXPECT_TRUE(fs::is_symlink(folder / "absolute") && fs::is_symlink(folder / "relative"));
    EXPECT_TRUE(isSameFile(folder / "absolute", folder / "store/scan.clr"));
    EXPECT_FALSE(staged.create(folder / "circle", kScan));
}

// Who may rename what is in the folder can still lead nothing outside of it.
TEST(StagedOutput, FollowsNoLinkThatOthersPutInItsWay) {
    const TempFolder folder;
    const TempFolder victim;
    StagedOutput staged;
    ASSERT_TRUE(staged.create(folder / "scan.cl3", kScan));
    const std::string hidden = folder.names().front();
    for (const char* name : {"0.cl3", "0.ij", "0.alg"})
        writeFile(victim / name, "precious");
    fs::rename(folder / hidden, folder / "stolen");
    fs::create_directory_symlink(victim.path(), folder / hidden);
    for (const std::string& path : {staged.path(), staged.companion(".ij")})
        writeFile(path, "new");
    EXPECT_TRUE(replaceFile(staged.companion(".alg").c_str(), "new"));
    EXPECT_TRUE(staged.sync([] {}) && staged.publish());
    for (const char* name : {"0.cl3", "0.ij", "0.alg"})
        EXPECT_EQ(readText(victim / name), "precious");
    for (const char* name : {"scan.cl3", "scan.ij", "scan.alg"})
        EXPECT_EQ(readText(folder / name), "new");
}

TEST(StagedOutput, CannotBeCreatedWhereNoFileCanBe) {
    const TempFolder folder;
    const std::pair<std::string, int> cases[] = {
        {"", EINVAL},
        {"bad\xFFname", EINVAL},
        {folder.path().string(), EISDIR},
        {"/dev/null", EINVAL},
        {folder / "no/such/folder", ENOENT},
    };
    for (const auto& [target, error] : cases) {
        StagedOutput staged;
        errno = 0;
        EXPECT_FALSE(staged.create(target, kScan)) << target;
        EXPECT_EQ(errno, error) << target;
    }
    // A folder in the place of a companion: nothing is changed for it.
    fs::create_directory(folder / "scan.ij");
    writeFile(folder / "scan.cl3", "old");
    StagedOutput staged;
    ASSERT_TRUE(staged.create(folder / "scan.cl3", kScan));
    EXPECT_FALSE(staged.publish());
    EXPECT_EQ(staged.failedAt(), folder / "scan.ij");
    EXPECT_EQ(readText(folder / "scan.cl3"), "old");
}

}  // namespace
}  // namespace brisko
