// What the project relies on from the target's C library, whichever CPU it is built for: the
// phone's 32-bit ARM (armhf) by default has a 32-bit time_t and off_t, where x86-64 has 64-bit
// ones; the armhf toolchain file selects the 64-bit interface (cmake/toolchain-armhf.cmake).

#include <sys/types.h>

#include <cstdint>
#include <ctime>

#include <gtest/gtest.h>

TEST(TargetAbi, ClockTimesPastJanuary2038AreRepresented)
{
    const std::int64_t firstOf2040 = 2208988800;  // 2040-01-01 00:00:00 UTC
    const auto seconds = static_cast<std::time_t>(firstOf2040);
    ASSERT_EQ(static_cast<std::int64_t>(seconds), firstOf2040);
    std::tm parts{};
    ASSERT_NE(gmtime_r(&seconds, &parts), nullptr);
    EXPECT_EQ(parts.tm_year + 1900, 2040);
    EXPECT_EQ(parts.tm_mon, 0);
    EXPECT_EQ(parts.tm_mday, 1);
}

TEST(TargetAbi, FileOffsetsReachBeyondTwoGibibytes)
{
    EXPECT_GE(sizeof(off_t), 8u);
}
