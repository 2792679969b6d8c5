#include "base/file.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

namespace brisko {
namespace {

using namespace test;

TEST(File, OpensRegularFilesOnly) {
    const TempFolder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string missing = folder / "missing";
    const struct {
        const char* path;
        const char* mode;
        int error;
    } cases[] = {
        {nullptr, "rb", EINVAL},         {"", "rb", EINVAL},
        {"bad\xFFname", "rb", EINVAL},   {"bad\xFFname", "wb", EINVAL},
        {pipe.c_str(), "rb", EINVAL},    {pipe.c_str(), "rb+", EINVAL},
        {"/dev/null", "wb", EINVAL},     {folder.path().c_str(), "rb", EISDIR},
        {missing.c_str(), "rb", ENOENT},
    };
    for (const auto& c : cases) {
        errno = 0;
        EXPECT_EQ(openFile(c.path, c.mode), nullptr) << (c.path ? c.path : "null");
        EXPECT_EQ(errno, c.error) << (c.path ? c.path : "null");
    }
}

TEST(File, IsNotInheritedByChildren) {
    const TempFolder folder;
    const FilePtr file = openFile((folder / "scan.cl3").c_str(), "wb");
    ASSERT_TRUE(file);
    EXPECT_NE(fcntl(fileno(file.get()), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(fcntl(fileno(file.get()), F_GETFL) & O_NONBLOCK, 0);
}

}  // namespace
}  // namespace brisko
