// Who may read and write what.

#include "faults/jobs.h"
#include "faults/readers.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>

namespace brisko {
namespace {

using test::Job;
using test::Scene;

mode_t modeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

/// Tests may run as root, whom no permission stops: someone else while the object lives.
class OrdinaryUser {
public:
    OrdinaryUser() { become(65534); }
    ~OrdinaryUser() { become(0); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    void become(uid_t user) const { EXPECT_TRUE(!m_isRoot || setresuid(user, user, 0) == 0); }
    const bool m_isRoot = getuid() == 0;
};

/// A folder that everybody reads and nobody changes while the object lives.
class ReadOnly {
public:
    explicit ReadOnly(const std::string& folder) : m_folder(folder) {
        EXPECT_EQ(chmod(m_folder.c_str(), 0555), 0);
    }
    ~ReadOnly() { EXPECT_EQ(chmod(m_folder.c_str(), 0755), 0); }
    ReadOnly(const ReadOnly&) = delete;
    ReadOnly& operator=(const ReadOnly&) = delete;

private:
    const std::string m_folder;
};

TEST(Permissions, OutputsHaveWhatTheHostsMaskLeaves) {
    const test::SilentOutput silent;
    for (const Job& job : test::jobs()) {
        for (const mode_t mask : {0077U, 0027U, 0U}) {
            Scene scene(job, Scene::Outputs::None);
            const auto inputs = scene.folder.names();
            const mode_t old = umask(mask);
            EXPECT_TRUE(scene.run()) << job;
            umask(old);
            for (const std::string& name : scene.folder.names()) {
                const bool isInput = std::find(inputs.begin(), inputs.end(), name) != inputs.end();
                EXPECT_TRUE(isInput || modeOf(scene.folder / name) == (0666 & ~mask))
                    << job << ": " << name;
            }
        }
    }
}

TEST(Permissions, AFolderThatTakesNoFilesStaysAsItIs) {
    const test::SilentOutput silent;
    for (const Job& job : test::jobs()) {
        Scene scene(job);
        for (const std::string& name : scene.folder.names())
            EXPECT_EQ(chmod((scene.folder / name).c_str(), 0444), 0);
        {
            const ReadOnly folder(scene.folder.path().string());
            const OrdinaryUser user;
            EXPECT_FALSE(scene.run()) << job;
        }
        scene.expectWholeOrNothing();
    }
}

TEST(Permissions, AnAlignmentIsRewrittenInAFolderThatTakesNoFiles) {
    const test::TempFolder folder;
    const std::string path = folder / "scan.alg";
    const double turned[16] = {0, -1, 0, 5, 1, 0, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1};
    ASSERT_TRUE(writeAlignmentFile(path.c_str(), turned, {}));
    const test::Bytes whole = test::readFile(path);
    for (const char* older : {"short", "long"}) {
        test::writeFile(path, std::string(*older == 's' ? 10 : 10'000, 'x'));
        ASSERT_EQ(chmod(path.c_str(), 0666), 0);
        const ReadOnly readOnly(folder.path().string());
        const OrdinaryUser user;
        EXPECT_TRUE(writeAlignmentFile(path.c_str(), turned, {}));
        EXPECT_EQ(test::readFile(path), whole) << older;
    }
}

TEST(Permissions, AFolderThatTakesNoFilesIsRead) {
    const ReadOnly project(std::filesystem::path(test::readersFolder()).parent_path().string());
    const ReadOnly scans(test::readersFolder());
    for (const test::Reader& reader : test::kReaders) {
        const OrdinaryUser user;
        const test::CodecPtr<BriskoCodec> codec(reader.create());
        ASSERT_TRUE(codec->Open(test::scanOf(reader).c_str())) << reader;
        EXPECT_GT(test::readAll(*codec).size(), 250U) << reader;
    }
}

}  // namespace
}  // namespace brisko
