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

class LoggerTest : public testing::Test {
protected:
    ~LoggerTest() override { os::setLogLevel(os::LogType::info); }
};

TEST_F(LoggerTest, WritesOneLineToStandardError) {
    CaptureStderr();
    errno = ENOENT;
    logger.error("%d of %s", 3, "four");
    EXPECT_EQ(errno, ENOENT);
    logger.info("%s", "");
    EXPECT_EQ(GetCapturedStderr(), "[org.example:device] error: 3 of four\n[org.example:device] info: \n");
}

/// An application's locale with a decimal comma must neither show in messages nor be lost.
TEST_F(LoggerTest, WritesNumbersWithAPoint) {
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

/// Around the size of the first buffer, and far past what one write to a pipe takes at once.
TEST_F(LoggerTest, KeepsMessagesOfAnyLength) {
    for (const std::size_t length : {1023u, 1024u, 1025u, 300000u}) {
        const std::string text(length, 'x');
        CaptureStderr();
        logger.error("%s", text.c_str());
        EXPECT_EQ(GetCapturedStderr(), "[org.example:device] error: " + text + '\n');
    }
}

TEST_F(LoggerTest, LeavesOutWhatLiesBelowTheLevel) {
    const test::LogCapture capture;
    os::setLogLevel(os::LogType::error);
    logger.info("quiet");
    logger.error("loud");
    os::setLogLevel(os::LogType::fault);
    logger.error("quiet");
    EXPECT_FALSE(os::Logger::isEnabled(os::LogType::error));
    EXPECT_THAT(capture.messages(), ElementsAre("loud"));
}

TEST_F(LoggerTest, SinksNestAndMayFailOrReplaceThemselves) {
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
TEST_F(LoggerTest, SinksMayBeReplacedWhileOthersLog) {
    const test::LogCapture silence;
    std::atomic<int> received = 0;
    const auto sink = [&received, text = std::string(100, 'm')](const os::LogMessage& message) {
        if (message.text[0] == text[0]) ++received;
    };
    const auto previous = os::setLogSink(sink);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([] {
            for (int index = 0; index < 2000; ++index) logger.error("m %d", index);
        });
    }
    for (int index = 0; index < 500; ++index) {
        os::setLogLevel(os::LogType::info);
        os::setLogSink(sink);
    }
    for (auto& thread : threads) thread.join();
    os::setLogSink(previous);
    EXPECT_EQ(received, 6000);
}

}  // namespace
}  // namespace ondrix
