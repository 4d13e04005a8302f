#include <atomic>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/platform/os/Logger.h>

namespace ondrix {
namespace {

using testing::ElementsAre;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

const os::Logger logger("org.example", "device");

/// Of lengths around the size of the first buffer, and far past what one write to a pipe takes at once.
TEST(LoggerTest, WritesOneLineToStandardError) {
    CaptureStderr();
    errno = ENOENT;
    logger.info("%d of %s", 3, "");
    EXPECT_EQ(errno, ENOENT);
    std::string expected = "[org.example:device] info: 3 of \n";
    for (const std::size_t length : {0u, 1023u, 1024u, 1025u, 300000u}) {
        const std::string text(length, 'x');
        logger.error("%s", text.c_str());
        expected += "[org.example:device] error: " + text + '\n';
    }
    EXPECT_EQ(GetCapturedStderr(), expected);
}

/// An application's locale with a decimal comma must neither show in messages nor be lost.
TEST(LoggerTest, WritesNumbersWithAPoint) {
    const test::TemporaryFolder folder;
    const std::string command = "localedef -i de_DE -f UTF-8 " + (folder.path() / "de").string() + " 2>/dev/null";
    if (std::system(command.c_str()) != 0) GTEST_SKIP() << "this system can't make locales";
    ::setenv("LOCPATH", folder.path().c_str(), 1);
    ASSERT_NE(std::setlocale(LC_NUMERIC, "de"), nullptr);
    const test::LogCapture capture;
    logger.error("%.3f", 1.5);
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
    std::setlocale(LC_NUMERIC, "C");
    ::unsetenv("LOCPATH");
    EXPECT_THAT(capture.messages(), ElementsAre("1.500"));
}

TEST(LoggerTest, LeavesOutWhatLiesBelowTheLevel) {
    const test::LogCapture capture;
    os::setLogLevel(os::LogType::error);
    logger.info("quiet");
    logger.error("loud");
    os::setLogLevel(os::LogType::fault);
    logger.error("quiet");
    EXPECT_FALSE(os::Logger::isEnabled(os::LogType::error));
    os::setLogLevel(os::LogType::info);
    EXPECT_THAT(capture.messages(), ElementsAre("loud"));
}

TEST(LoggerTest, SinksNestAndMayFailOrReplaceThemselves) {
    const test::LogCapture capture;
    {
        const test::LogCapture inner;
        logger.error("inner");
        EXPECT_THAT(inner.messages(), ElementsAre("inner"));
    }
    auto previous = os::setLogSink([](const os::LogMessage&) { throw std::runtime_error("sink"); });
    logger.error("lost");
    int calls = 0;
    os::setLogSink([&](const os::LogMessage&) {
        ++calls;
        os::setLogSink(previous);
        logger.error("from a sink");
    });
    logger.error("twice");
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(capture.messages(), ElementsAre("from a sink"));
}

/// A sink that is replaced while others call it must stay whole until their calls end: for sanitizers.
TEST(LoggerTest, SinksMayBeReplacedWhileOthersLog) {
    const test::LogCapture silence;
    std::atomic<int> received = 0;
    const auto sink = [&received, text = std::string(100, 'm')](const os::LogMessage& message) {
        if (message.text[0] == text[0]) ++received;
    };
    os::setLogSink(sink);
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([] {
            for (int index = 0; index < 2000; ++index) logger.error("m %d", index);
        });
    }
    for (int index = 0; index < 500; ++index) {
        os::setLogLevel(os::LogType::info);
        os::setLogSink(sink);
    }
    threads.clear();
    EXPECT_EQ(received, 6000);
}

}  // namespace
}  // namespace ondrix
