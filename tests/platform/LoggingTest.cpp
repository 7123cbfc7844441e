// Platform logging: the level threshold, the replaceable sink, the default sink on standard
// error, and formatting of lines of any length.

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLogSink.h"
#include "Logging.h"

namespace {

// Restores the default sink and threshold whatever a test did.
class LoggingTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        platformlog::setSink(nullptr);
        platformlog::setThreshold(platformlog::kDefaultThreshold);
    }

    std::vector<LogRecord> records;
    void captureInto()
    {
        platformlog::setSink([this](const LogRecord& record) { records.push_back(record); });
    }
};

}  // namespace

TEST_F(LoggingTest, TheDefaultThresholdLetsErrorsAndWarningsThrough)
{
    EXPECT_EQ(3, platformlog::kDefaultThreshold);
    EXPECT_EQ(3, platformlog::threshold());
    EXPECT_TRUE(loggingOnAppVex("DigitAnalysisService", 2));
    EXPECT_TRUE(loggingOnAppVex("DigitAnalysisService", 3));
    EXPECT_FALSE(loggingOnAppVex("DigitAnalysisService", 5));
}

TEST_F(LoggingTest, ALineIsWrittenWhenItsLevelIsAtOrBelowTheThreshold)
{
    captureInto();
    platformlog::setThreshold(3);

    logAppVex("C", "src/F", 2, 1, "error");
    logAppVex("C", "src/F", 3, 2, "warning");
    logAppVex("C", "src/F", 5, 3, "trace");

    ASSERT_EQ(2u, records.size());
    EXPECT_EQ("error", records[0].text);
    EXPECT_EQ("warning", records[1].text);
}

TEST_F(LoggingTest, RaisingTheThresholdLetsTracesThrough)
{
    captureInto();
    platformlog::setThreshold(5);
    EXPECT_TRUE(loggingOnAppVex("C", 5));
    logAppVex("C", "src/F", 5, 3, "trace");
    ASSERT_EQ(1u, records.size());
}

TEST_F(LoggingTest, LoweringTheThresholdSilencesWarnings)
{
    captureInto();
    platformlog::setThreshold(2);
    EXPECT_FALSE(loggingOnAppVex("C", 3));
    logAppVex("C", "src/F", 3, 1, "warning");
    EXPECT_TRUE(records.empty());
}

TEST_F(LoggingTest, TheSinkReceivesEveryFieldOfTheLine)
{
    captureInto();
    logAppVex("DigitAnalysisService", "src/DigitAnalysisServiceInvoker", 2, 123, "Invalid request string: '%s'",
              "dialstringrequest:1");

    ASSERT_EQ(1u, records.size());
    EXPECT_EQ("DigitAnalysisService", records[0].component);
    EXPECT_EQ("src/DigitAnalysisServiceInvoker", records[0].sourceFile);
    EXPECT_EQ(2, records[0].level);
    EXPECT_EQ(123, records[0].line);
    EXPECT_EQ("Invalid request string: 'dialstringrequest:1'", records[0].text);
}

TEST_F(LoggingTest, TextsKeepTheirBlanksAndNewLines)
{
    captureInto();
    platformlog::setThreshold(5);
    logAppVex("C", "src/F", 5, 1, "init software-type = %d ", 0);
    logAppVex("C", "src/F", 5, 1, "manageableDataChanged %d\n", 2);

    ASSERT_EQ(2u, records.size());
    EXPECT_EQ("init software-type = 0 ", records[0].text);
    EXPECT_EQ("manageableDataChanged 2\n", records[1].text);
}

TEST_F(LoggingTest, LongLinesAreFormattedInFull)
{
    captureInto();
    const std::string longText(100000, 'x');
    logAppVex("C", "src/F", 2, 1, "result from DAS: \n%s<end>", longText.c_str());

    ASSERT_EQ(1u, records.size());
    EXPECT_EQ("result from DAS: \n" + longText + "<end>", records[0].text);
}

TEST_F(LoggingTest, LinesJustAroundTheInlineBufferSizeAreFormattedInFull)
{
    captureInto();
    for (const std::size_t length : {254u, 255u, 256u, 257u}) {
        const std::string text(length, 'y');
        logAppVex("C", "src/F", 2, 1, "%s", text.c_str());
        ASSERT_FALSE(records.empty());
        EXPECT_EQ(text, records.back().text) << length;
    }
}

TEST_F(LoggingTest, ANewSinkReplacesTheOldOne)
{
    std::vector<std::string> first, second;
    platformlog::setSink([&first](const LogRecord& record) { first.push_back(record.text); });
    logAppVex("C", "src/F", 2, 1, "one");
    platformlog::setSink([&second](const LogRecord& record) { second.push_back(record.text); });
    logAppVex("C", "src/F", 2, 1, "two");

    EXPECT_EQ(std::vector<std::string>{"one"}, first);
    EXPECT_EQ(std::vector<std::string>{"two"}, second);
}

TEST_F(LoggingTest, TheDefaultSinkWritesOneLineToStandardError)
{
    platformlog::setSink(nullptr);
    testing::internal::CaptureStderr();
    logAppVex("DigitAnalysisService", "src/DialPlan", 2, 77, "no dial plan entry found!");
    const std::string written = testing::internal::GetCapturedStderr();

    EXPECT_EQ("DigitAnalysisService src/DialPlan:77 [2] no dial plan entry found!\n", written);
}

TEST_F(LoggingTest, AnEmptySinkRestoresTheDefault)
{
    captureInto();
    platformlog::setSink(platformlog::Sink());
    testing::internal::CaptureStderr();
    logAppVex("C", "src/F", 2, 1, "back to stderr");
    const std::string written = testing::internal::GetCapturedStderr();

    EXPECT_TRUE(records.empty());
    EXPECT_EQ("C src/F:1 [2] back to stderr\n", written);
}

TEST_F(LoggingTest, MissingComponentSourceOrFormatDoNotCrash)
{
    captureInto();
    logAppVex(nullptr, nullptr, 2, 1, nullptr);
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ("", records[0].component);
    EXPECT_EQ("", records[0].sourceFile);
    EXPECT_EQ("", records[0].text);
}

TEST_F(LoggingTest, LinesFromManyThreadsAllArrive)
{
    CapturingLogSink sink(5);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 250; ++i) logAppVex("C", "src/F", 5, t, "thread %d line %d", t, i);
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(1000u, sink.records().size());
    EXPECT_EQ(1, sink.count("thread 3 line 249"));
}

TEST_F(LoggingTest, TheCapturingSinkRestoresThePreviousThresholdAndTheDefaultSink)
{
    platformlog::setThreshold(2);
    {
        CapturingLogSink sink;
        EXPECT_EQ(5, platformlog::threshold());
        logAppVex("C", "src/F", 5, 1, "trace %s", "line");
        logAppVex("C", "src/F", 3, 2, "warning");
        EXPECT_TRUE(sink.contains("trace line"));
        EXPECT_TRUE(sink.contains("trace line", 5));
        EXPECT_FALSE(sink.contains("trace line", 3));
        EXPECT_EQ(std::vector<std::string>{"warning"}, sink.texts(3));
        EXPECT_EQ((std::vector<std::string>{"trace line", "warning"}), sink.texts());
        sink.clear();
        EXPECT_TRUE(sink.texts().empty());
    }
    EXPECT_EQ(2, platformlog::threshold());
    testing::internal::CaptureStderr();
    logAppVex("C", "src/F", 2, 1, "after");
    EXPECT_EQ("C src/F:1 [2] after\n", testing::internal::GetCapturedStderr());
}
