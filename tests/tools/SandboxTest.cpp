// What a process may no longer do while it reads what strangers made.
#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tests/media/Clip.h>
#include <tools/system/OutputFile.h>
#include <tools/system/Sandbox.h>
#include <unistd.h>

#include "Program.h"

namespace {

using namespace ondrix::tools;
using testing::HasSubstr;

constexpr int networkVersion = 4, signalVersion = 6;  // of the kernel's interface

/// 0 without.
long kernelVersion() {
    return std::max(0l, syscall(444, nullptr, 0, 1));
}

class SandboxTest : public ProgramTest {
protected:
    void SetUp() override {
        if (kernelVersion() == 0) GTEST_SKIP() << "this kernel has no Landlock";
    }
};

/// True when it failed because it isn't allowed.
bool isRefused(long result) {
    return result < 0 && (errno == EACCES || errno == EPERM);
}

// Rights that are forgotten, and rights that an output needs and are gone.
TEST_F(SandboxTest, LeavesInputsAndOutputs) {
    const std::string secret = folder.write("secrets/secret", "secret");
    (void)folder.write("in", "input");
    (void)folder.write("outputs/older", "older");
    (void)folder.write("outputs/direct", "older");
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size) | listen(listener, 1), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);

    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        Sandbox sandbox;
        sandbox.allowReading(in);
        sandbox.allowOutput(file("outputs/new"));
        sandbox.allowReading(file("missing"));
        sandbox.enter();
        EXPECT_EQ(content(in), "input");
        for (const char* name : {"outputs/new", "outputs/older"}) {
            OutputFile output(file(name));
            std::fputs("complete", output.stream());
            output.keep();
        }
        EXPECT_TRUE(isRefused(open(secret.c_str(), O_RDONLY)));
        EXPECT_TRUE(isRefused(open(in.c_str(), O_WRONLY)));
        EXPECT_TRUE(isRefused(open(file("outputs/older").c_str(), O_RDONLY)));
        EXPECT_TRUE(isRefused(open(file("secrets/new").c_str(), O_CREAT | O_WRONLY, 0600)));
        EXPECT_TRUE(isRefused(open(file("secrets").c_str(), O_RDONLY | O_DIRECTORY)));
        EXPECT_TRUE(isRefused(open("/etc/passwd", O_RDONLY)));
        EXPECT_TRUE(isRefused(unlink(secret.c_str())));
        EXPECT_TRUE(isRefused(execl("/bin/true", "true", nullptr)));
        if (kernelVersion() >= networkVersion) {
            const int client = socket(AF_INET, SOCK_STREAM, 0);
            EXPECT_TRUE(isRefused(connect(client, reinterpret_cast<sockaddr*>(&address), size)));
        }
        EXPECT_EQ(isRefused(kill(getppid(), 0)), kernelVersion() >= signalVersion);
        _exit(HasFailure() ? 1 : 0);
    }
    int state = 0;
    ASSERT_EQ(waitpid(child, &state, 0), child);
    EXPECT_EQ(state, 0);
    close(listener);
    EXPECT_EQ(content(file("outputs/new")) + content(file("outputs/older")), "completecomplete");
}

// A command that decodes outside, or one that a sandbox keeps from its work.
TEST_F(SandboxTest, HoldsEveryCommandThatDecodes) {
    if (!hasFaults) GTEST_SKIP();
    const std::string secret = folder.write("secrets/secret", "secret"),
                      raw = folder.write("raw", std::string(48, 'x'));
    const std::string picture = folder.write("in.png", png(Picture(8, 8)));
    const std::string movie = ondrix::test::Clip{.times = {0, 40, 80}}.write(file("movie.mkv"));
    const std::vector<std::string> commands[] = {
        {"present", picture, out, "--size", "9x9", "--effect", "gaussian-blur"},
        {"blit", picture, out, "--size", "9x9"},
        {"nv12", raw, out, "--size", "8x4", "--range", "full"},
        {"apply", picture, out, "--library", ONDRIX_TEST_LIBRARY, "--function", "Test::Invert"},
        {"frame", movie, out, "--at", "0"},
        {"sheet", movie, out},
        {"video", movie, file("moved.mp4")},
        {"play", movie, "--headless"}};
    for (auto arguments : commands) {
        SCOPED_TRACE(arguments[0]);
        const auto environment =
            withFaults({"FAULT_INPUT=" + arguments[1], "FAULT_SECRET=" + secret, "ONDRIX_SANDBOX=1"});
        const Outcome held = runOndrix(arguments, environment);
        EXPECT_EQ(held.status, 0);
        EXPECT_THAT(held.errors, testing::AllOf(HasSubstr("refused"), testing::Not(HasSubstr("stolen"))));
        arguments.emplace_back("--no-sandbox");
        const Outcome free = runOndrix(arguments, environment);
        EXPECT_EQ(free.status, 0);
        EXPECT_THAT(free.errors, testing::AllOf(HasSubstr("stolen"), testing::Not(HasSubstr("refused"))));
    }
    EXPECT_TRUE(std::filesystem::exists(out) && std::filesystem::exists(file("moved.mp4")));
}

}  // namespace
