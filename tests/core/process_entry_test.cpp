// Process entry: the cancellation descriptor, the role chosen by the first argument, and the
// start-up failures of the backend choice.

#include <gtest/gtest.h>

#include "core/process_state.h"
#include "support/helper_process.h"

namespace brindlemar::testing {
namespace {

TEST(CancelDescriptor, ParsedExactlyAsADecimal32BitInteger) {
    struct Case {
        const char* value;
        std::int32_t expected;
    };
    const Case cases[] = {
        {nullptr, -1},
        {"", -1},
        {" 7", -1},
        {"7 ", -1},
        {"7x", -1},
        {"0x7", -1},
        {"2147483648", -1},
        {"+", -1},
        {"-", -1},
        {"+-7", -1},
        {"--7", -1},
        {"\xd9\xa7", -1},
        {"7", 7},
        {"+7", 7},
        {"-3", -3},
        {"2147483647", 2147483647},
        {"-2147483648", -2147483647 - 1},
        {"-2147483649", -1},
        {"007", 7},
        {"99999999999999999999999", -1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(parseCancelDescriptor(c.value), c.expected)
            << "value: " << (c.value ? c.value : "(unset)");
    }
}

TEST(ProcessEntry, FileDropAsFirstArgumentSelectsTheChildRole) {
    for (auto arguments : {std::vector<std::string>{"--file-drop"},
                           std::vector<std::string>{"--file-drop", "10,20", "/tmp/a"}}) {
        HelperProcess helper({.arguments = arguments});
        EXPECT_EQ(helper.wait(), 1);
        EXPECT_EQ(helper.drainOutput(), "");
        auto diagnostics = helper.standardError();
        EXPECT_EQ(std::count(diagnostics.begin(), diagnostics.end(), '\n'), 1) << diagnostics;
    }
}

TEST(ProcessEntry, OtherArgumentsStartTheControlHelper) {
    for (auto arguments :
         {std::vector<std::string>{"--FILE-DROP"}, std::vector<std::string>{"serve", "--file-drop"},
          std::vector<std::string>{"--file-drop=1"}}) {
        HelperProcess helper({.arguments = arguments});
        EXPECT_EQ(helper.request({{"cmd", "ping"}}).type(), "pong");
        helper.closeInput();
        EXPECT_EQ(helper.wait(), 0);
    }
}

TEST(ProcessEntry, CancelDescriptorValuesNeverDisturbStartUp) {
    for (const char* value : {"", "abc", "-3", "2147483647", "9"}) {
        HelperProcess helper({.environment = {{"PLOVEN_CONTROL_CANCEL_FD", value}}});
        EXPECT_EQ(helper.request({{"cmd", "ping"}}).type(), "pong");
    }
}

TEST(ProcessEntry, BadBackendChoicesEndStartUpWithStatus2) {
    struct Case {
        std::map<std::string, std::string> environment;
        std::optional<std::string> scene;
        std::string mentions;
    };
    const Case cases[] = {
        {{{"BRINDLEMAR_BACKEND", "wayland"}}, std::nullopt, "wayland"},
        {{{"BRINDLEMAR_SIM_SCENE", "/nonexistent/scene.json"}},
         std::nullopt,
         "/nonexistent/scene.json"},
        {{}, std::string("{not json"), "scene.json"},
        {{}, std::string("[1, 2]"), "scene.json"},
        {{},
         std::string(R"({"permissions": {"accessibility": "yes"}})"),
         "permissions.accessibility"},
        {{}, std::string(R"({"grant_on_request": 1})"), "grant_on_request"},
    };
    for (const auto& c : cases) {
        HelperProcess helper({.environment = c.environment,
                              .sceneJson = c.scene,
                              .simBackend = !c.environment.contains("BRINDLEMAR_BACKEND")});
        EXPECT_EQ(helper.wait(), 2);
        EXPECT_EQ(helper.drainOutput(), "");
        auto diagnostics = helper.standardError();
        EXPECT_NE(diagnostics.find(c.mentions), std::string::npos) << diagnostics;
        EXPECT_EQ(std::count(diagnostics.begin(), diagnostics.end(), '\n'), 1) << diagnostics;
    }
}

TEST(ProcessEntry, SceneWithoutBackendVariableSelectsTheSimulator) {
    HelperProcess helper(
        {.sceneJson = R"({"permissions": {"screen_recording": false}})", .simBackend = false});
    auto record = helper.request({{"cmd", "permission"}});
    EXPECT_EQ(record.header["granted"], false);
}

}  // namespace
}  // namespace brindlemar::testing
