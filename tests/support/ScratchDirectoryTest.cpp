// The scratch directory of a test: made fresh and private under $TMPDIR, or the test fails;
// never a shared directory in its place, and nothing removed that it did not make.

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "ScopedEnvironment.h"
#include "ScratchDirectory.h"
#include "ServiceHarness.h"

namespace {

bool exists(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

TEST(ScratchDirectory, IsMadeFreshAndPrivateUnderTmpdirAndRemovedAfterwards)
{
    ScratchDirectory base{"das-scratch-base"};
    std::string made;
    {
        ScopedEnvironment tmpdir("TMPDIR", base.path());
        ScratchDirectory scratch{"inner"};
        made = scratch.path();
        EXPECT_EQ(made.rfind(base.path() + "/inner-", 0), 0u) << made;
        struct stat status {};
        ASSERT_EQ(::lstat(made.c_str(), &status), 0);
        EXPECT_TRUE(S_ISDIR(status.st_mode));
        EXPECT_EQ(status.st_mode & 07777, 0700u);
        std::ofstream(made + "/file") << "x";
    }
    EXPECT_FALSE(exists(made));
    EXPECT_TRUE(exists(base.path())) << "the directory around it stays";
}

TEST(ScratchDirectory, MissingTmpdirFailsTheTestInsteadOfFallingBack)
{
    ScratchDirectory base{"das-scratch-base"};
    ScopedEnvironment tmpdir("TMPDIR", base.path() + "/missing");
    EXPECT_THROW(ScratchDirectory{"inner"}, std::runtime_error);
    EXPECT_FALSE(exists(base.path() + "/missing"));
}

TEST(ScratchDirectory, TmpdirThatIsAFileFailsTheTestAndTheFileStays)
{
    ScratchDirectory base{"das-scratch-base"};
    const std::string file = base.path() + "/plain";
    std::ofstream(file) << "keep";
    ScopedEnvironment tmpdir("TMPDIR", file);
    try {
        ScratchDirectory scratch{"inner"};
        FAIL() << "made " << scratch.path();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find(file + "/inner-XXXXXX"), std::string::npos) << error.what();
    }
    std::ifstream in(file);
    std::string content;
    in >> content;
    EXPECT_EQ(content, "keep");
}

TEST(ServiceHarnessLogDirectory, IsAScratchDirectoryOfItsOwnOrTheHarnessFails)
{
    ScratchDirectory base{"das-scratch-base"};
    {
        ScopedEnvironment tmpdir("TMPDIR", base.path());
        ServiceHarness harness;
        const std::string directory = std::filesystem::path(harness.logFilePath()).parent_path().string();
        EXPECT_EQ(directory.rfind(base.path() + "/", 0), 0u) << directory;
        EXPECT_TRUE(exists(directory));
    }
    ScopedEnvironment missing("TMPDIR", base.path() + "/missing");
    EXPECT_THROW(ServiceHarness{}, std::runtime_error) << "no fallback to a shared directory";
}

}  // namespace
