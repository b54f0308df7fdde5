// Child processes: exact arguments and environment, the standard streams, descriptors kept and
// closed, waiting, signals from several threads, and that no child outlives its object.

#include "base/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace brindlemar {
namespace {

using namespace std::chrono_literals;

std::unique_ptr<ChildProcess> start(ChildSpec spec) {
    auto child = ChildProcess::spawn(spec);
    if (!child) ADD_FAILURE() << child.error().message;
    return child ? std::move(child).value() : nullptr;
}

ChildSpec command(std::vector<std::string> arguments) {
    return {.arguments = std::move(arguments),
            .environment = {"PATH=/usr/bin:/bin"},
            .searchPath = true,
            .standardOutput = ChildStream::Pipe};
}

std::string outputOf(ChildProcess& child) {
    std::string all;
    child.readOutputUntilExit([&](std::string_view chunk) { all += chunk; });
    return all;
}

bool processExists(pid_t pid) {
    return std::filesystem::exists("/proc/" + std::to_string(pid));
}

TEST(ChildProcess, RunsTheProgramWithExactlyTheGivenEnvironmentAndArguments) {
    auto env = start({.arguments = {"/usr/bin/env"},
                      .environment = {"A=1", "SPACED=two words", "EMPTY="},
                      .standardOutput = ChildStream::Pipe});
    ASSERT_TRUE(env);
    EXPECT_EQ(outputOf(*env), "A=1\nSPACED=two words\nEMPTY=\n");
    EXPECT_EQ(env->wait(), (ChildExit{0, 0}));

    // No shell sees the arguments: quotes, semicolons and expansions arrive as written.
    auto echo = start(command({"printf", "%s|", "$HOME; echo no", "a b", "*", ""}));
    ASSERT_TRUE(echo);
    EXPECT_EQ(outputOf(*echo), "$HOME; echo no|a b|*||");
}

TEST(ChildProcess, ReportsAProgramThatCannotStartAndLeavesNothingBehind) {
    const std::vector<ChildSpec> unstartable = {
        {.arguments = {"/nonexistent/program"}},
        {.arguments = {"no-such-program-anywhere"}, .searchPath = true},
        {.arguments = {"/etc/hostname"}},  // not executable
        {.arguments = {"/bin/true"}, .workingDirectory = "/nonexistent"},
        {.arguments = {"/bin/true"}, .inheritedFds = {987}},  // not open
        {.arguments = {}},
    };
    for (const auto& spec : unstartable) {
        auto child = ChildProcess::spawn(spec);
        ASSERT_FALSE(child.ok()) << (spec.arguments.empty() ? "" : spec.arguments[0]);
        EXPECT_NE(child.error().code, 0);
        EXPECT_NE(child.error().message.find("cannot start"), std::string::npos);
    }
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a failed start left a child to reap";
    EXPECT_EQ(errno, ECHILD);
}

TEST(ChildProcess, ConnectsPipesAndTheNullDevice) {
    auto cat = start({.arguments = {"/bin/cat"},
                      .standardInput = ChildStream::Pipe,
                      .standardOutput = ChildStream::Pipe});
    ASSERT_TRUE(cat);
    ASSERT_EQ(::write(cat->inputFd(), "line\n", 5), 5);
    cat->closeInput();
    EXPECT_EQ(outputOf(*cat), "line\n");
    EXPECT_EQ(cat->wait(), (ChildExit{0, 0}));

    auto fromNull = start({.arguments = {"/bin/cat"},
                           .standardInput = ChildStream::Null,
                           .standardOutput = ChildStream::Pipe,
                           .standardError = ChildStream::Null});
    ASSERT_TRUE(fromNull);
    EXPECT_EQ(fromNull->inputFd(), -1);
    EXPECT_EQ(outputOf(*fromNull), "");
    EXPECT_EQ(fromNull->wait(1s), (ChildExit{0, 0}));

    auto toError = start(
        {.arguments = {"/bin/sh", "-c", "echo oops >&2"}, .standardError = ChildStream::Pipe});
    ASSERT_TRUE(toError);
    char text[16] = {};
    EXPECT_EQ(::read(toError->errorFd(), text, sizeof text), 5);
    EXPECT_STREQ(text, "oops\n");
}

TEST(ChildProcess, KeepsOnlyTheDescriptorsAskedFor) {
    int kept[2], stray[2];
    ASSERT_EQ(::pipe(kept), 0);
    ASSERT_EQ(::pipe(stray), 0);  // not close-on-exec: still closed in the child
    auto child = start(command({"ls", "/proc/self/fd"}));
    ASSERT_TRUE(child);
    std::string listed = outputOf(*child);
    EXPECT_EQ(listed.find("\n" + std::to_string(stray[1]) + "\n"), std::string::npos) << listed;

    auto writer = start({.arguments = {"/bin/sh", "-c", "echo kept >&" + std::to_string(kept[1])},
                         .inheritedFds = {kept[1]}});
    ASSERT_TRUE(writer);
    EXPECT_EQ(writer->wait(), (ChildExit{0, 0}));
    char text[16] = {};
    EXPECT_EQ(::read(kept[0], text, sizeof text), 5);
    EXPECT_STREQ(text, "kept\n");
    for (int fd : {kept[0], kept[1], stray[0], stray[1]})
        ::close(fd);
}

TEST(ChildProcess, WaitsWithATimeLimitAndEndsChildrenBySignal) {
    auto sleeper = start(command({"sleep", "30"}));
    ASSERT_TRUE(sleeper);
    EXPECT_FALSE(sleeper->wait(50ms));
    EXPECT_FALSE(sleeper->poll());
    EXPECT_EQ(sleeper->terminate(5s), (ChildExit{0, SIGTERM}));
    EXPECT_FALSE(sleeper->signal(SIGTERM)) << "no signal after the child was reaped";
    EXPECT_EQ(sleeper->poll(), (ChildExit{0, SIGTERM}));

    // A child that ignores SIGTERM is killed once the grace period is over.
    auto stubborn = start(command({"sh", "-c", "trap '' TERM; echo ready; exec sleep 30"}));
    ASSERT_TRUE(stubborn);
    char ready[8];
    ASSERT_GT(::read(stubborn->outputFd(), ready, sizeof ready), 0);
    EXPECT_EQ(stubborn->terminate(100ms), (ChildExit{0, SIGKILL}));

    auto failing = start(command({"sh", "-c", "exit 3"}));
    ASSERT_TRUE(failing);
    EXPECT_EQ(failing->wait().shellStatus(), 3);
    EXPECT_EQ((ChildExit{0, SIGKILL}).shellStatus(), 137);
}

TEST(ChildProcess, AWatchdogMayKillTheChildWhileAnotherThreadWaits) {
    auto sleeper = start(command({"sleep", "30"}));
    ASSERT_TRUE(sleeper);
    ChildExit seen;
    std::thread waiter([&] { seen = sleeper->wait(); });
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(sleeper->kill(), (ChildExit{0, SIGKILL}));
    waiter.join();
    EXPECT_EQ(seen, (ChildExit{0, SIGKILL}));
}

TEST(ChildProcess, NoChildOutlivesItsObject) {
    pid_t pid;
    {
        auto sleeper = start(command({"sleep", "30"}));
        ASSERT_TRUE(sleeper);
        pid = sleeper->pid();
    }
    EXPECT_FALSE(processExists(pid)) << "neither running nor a zombie";
}

TEST(ChildProcess, AChildAskingForItEndsWithTheThreadThatStartedIt) {
    std::unique_ptr<ChildProcess> orphan;
    std::thread starter([&] {
        auto spec = command({"sleep", "30"});
        spec.parentDeathSignal = SIGKILL;
        orphan = start(spec);
    });
    starter.join();
    ASSERT_TRUE(orphan);
    EXPECT_EQ(orphan->wait(10s), (ChildExit{0, SIGKILL}));
}

TEST(ChildProcess, OutputEndsWithTheChildEvenWhenAGrandchildKeepsThePipe) {
    // The background sleep inherits the pipe and keeps it open after the shell has ended.
    auto shell = start(command({"sh", "-c", "sleep 30 & echo $!"}));
    ASSERT_TRUE(shell);
    auto begun = std::chrono::steady_clock::now();
    std::string output = outputOf(*shell);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 10s);
    EXPECT_EQ(shell->wait(), (ChildExit{0, 0}));
    pid_t grandchild = std::stoi(output);
    EXPECT_TRUE(processExists(grandchild));
    ::kill(grandchild, SIGKILL);
}

TEST(ChildProcess, EnvironmentSettingsReplaceEntriesOfTheSameName) {
    auto merged = environmentWith({"A=1", "B=2", "AB=3"}, {{"A", "x"}, {"C", ""}});
    EXPECT_EQ(merged, (std::vector<std::string>{"B=2", "AB=3", "A=x", "C="}));
    auto own = currentEnvironment();
    EXPECT_EQ(own.size(), [] {
        std::size_t n = 0;
        while (environ[n] != nullptr)
            ++n;
        return n;
    }());
}

}  // namespace
}  // namespace brindlemar
