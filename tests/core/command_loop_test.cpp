// The command loop through the helper binary: framing of lines, malformed requests, the command
// table, permissions and capabilities; and the failure rule through a loop with its own table.

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "core/command_loop.h"
#include "core/main_queue.h"
#include "core/process_state.h"
#include "platform/sim/sim_backend.h"
#include "support/helper_process.h"

namespace brindlemar::testing {
namespace {

const Json kBadRequest = {{"type", "error"}, {"error", "bad request"}};

TEST(CommandLoop, MalformedLinesAreBadRequests) {
    const std::vector<std::string> lines = {
        "[1,2]",
        "42",
        "\"ping\"",
        "true",
        "null",
        "{}",
        R"({"cmd": 7})",
        R"({"cmd": null})",
        R"({"cmd": ["ping"]})",
        "ping",
        R"({"cmd": "ping")",
        R"({"cmd": "ping"} {"cmd": "ping"})",
        "{\"cmd\": \"pi\xffng\"}",  // invalid UTF-8 inside a string
        "\xc3\x28",                 // invalid UTF-8 outside any string
        R"({"cmd": "ping", "x": 1e999999})",
        std::string(R"({"cmd":"ping"})") + '\0' + R"({"cmd":"list"})",  // a raw NUL mid-line
        std::string(R"({"cmd":"ping")") + '\0' + "}",
        R"({"cmd": "ping", "deep": )" + std::string(600, '[') + std::string(600, ']') + "}",
    };
    HelperProcess helper;
    for (const auto& line : lines) {
        helper.sendLine(line);
        auto record = helper.read();
        ASSERT_TRUE(record) << "no reply to " << line;
        EXPECT_EQ(record->header, kBadRequest) << "line: " << line;
    }
    // Nothing was lost: the loop still answers.
    EXPECT_EQ(helper.request({{"cmd", "ping"}}).header, Json({{"type", "pong"}}));
}

TEST(CommandLoop, UnknownCommandsEchoTheirName) {
    HelperProcess helper;
    for (std::string name : {"Ping", "PING", "ping ", "", "pong", "grab_all", "caf\xc3\xa9"}) {
        auto record = helper.request({{"cmd", name}});
        EXPECT_EQ(record.header, Json({{"type", "error"}, {"error", "unknown cmd: " + name}}));
    }
}

TEST(CommandLoop, LineFramingAndTrimming) {
    HelperProcess helper;
    // Blank lines produce nothing; surrounding horizontal white space (including U+3000 and a
    // no-break space) is trimmed; CR LF terminators read like LF.
    helper.write("\n   \n\t\t\n\r\n");
    helper.write(" \t {\"cmd\":\"ping\"} \t \r\n");
    helper.write("\xe3\x80\x80{\"cmd\":\"ping\"}\xc2\xa0\n");
    helper.write(
        "{\"cmd\":\"ping\",\"extra\":[1,{\"a\":2}],"
        "\"deep\":" +
        std::string(100, '[') + std::string(100, ']') + "}\n");
    for (int i = 0; i < 3; ++i) {
        auto record = helper.read();
        ASSERT_TRUE(record);
        EXPECT_EQ(record->header, Json({{"type", "pong"}}));
    }
    EXPECT_TRUE(helper.silentFor(std::chrono::milliseconds(200)));
}

TEST(CommandLoop, LastLineWithoutTerminatorIsHandledBeforeExit) {
    HelperProcess helper;
    helper.write(R"({"cmd":"ping"})");
    helper.closeInput();
    auto record = helper.read();
    ASSERT_TRUE(record);
    EXPECT_EQ(record->type(), "pong");
    EXPECT_EQ(helper.wait(), 0);
}

TEST(CommandLoop, EndOfInputAtStartExitsSilently) {
    HelperProcess helper;
    helper.closeInput();
    EXPECT_EQ(helper.wait(), 0);
    EXPECT_EQ(helper.drainOutput(), "");
    EXPECT_EQ(helper.standardError(), "");
}

TEST(CommandLoop, HugeLineIsReadWholeAndAnswered) {
    HelperProcess helper;
    std::string filler(20 * 1024 * 1024, 'x');
    std::string line = R"({"cmd":"ping","filler":")" + filler + "\"}";
    std::thread writer([&] {
        helper.sendLine(line);
        helper.sendLine(std::string(40 * 1024 * 1024, '['));  // deep nesting: not JSON
        helper.sendLine(R"({"cmd":"ping"})");
    });
    auto first = helper.read(std::chrono::seconds(60));
    auto second = helper.read(std::chrono::seconds(60));
    auto third = helper.read(std::chrono::seconds(60));
    writer.join();
    ASSERT_TRUE(first && second && third);
    EXPECT_EQ(first->type(), "pong");
    EXPECT_EQ(second->header, kBadRequest);
    EXPECT_EQ(third->type(), "pong");
}

TEST(CommandLoop, PipelinedRequestsAreAnsweredInOrder) {
    HelperProcess helper;
    constexpr int kRequests = 20000;
    std::thread writer([&] {
        std::string batch;
        for (int i = 0; i < kRequests; ++i) {
            batch += i % 2 == 0 ? R"({"cmd":"ping"})"
                                  "\n"
                                : R"({"cmd":"capabilities"})"
                                  "\n";
        }
        helper.write(batch);
    });
    for (int i = 0; i < kRequests; ++i) {
        auto record = helper.read();
        ASSERT_TRUE(record) << "reply " << i << " missing";
        ASSERT_EQ(record->type(), i % 2 == 0 ? "pong" : "capabilities");
    }
    writer.join();
}

TEST(Capabilities, AnnounceEveryFeatureAsSpecified) {
    HelperProcess helper;
    auto record = helper.request({{"cmd", "capabilities"}, {"request", true}});
    EXPECT_EQ(record.header, Json({{"type", "capabilities"},
                                   {"observation_during_cast", true},
                                   {"bounded_control", 1},
                                   {"original_pixels", 1},
                                   {"watch", 1},
                                   {"files", 1}}));
    EXPECT_TRUE(record.header["bounded_control"].is_number_integer());
}

TEST(Permissions, CheckAndRequestFollowTheFlag) {
    HelperProcess helper({.sceneJson = R"({"permissions": {"screen_recording": false,
        "accessibility": false, "input_monitoring": true}, "grant_on_request": true})"});
    auto granted = [&](const Json& request) {
        auto record = helper.request(request);
        EXPECT_EQ(record.header.size(), 2u);
        EXPECT_EQ(record.type(), "permission");
        return record.header.at("granted").get<bool>();
    };
    // Values that are not a non-zero number or true only check.
    for (Json notARequest : {Json(0), Json(false), Json("true"), Json(nullptr), Json::array()}) {
        EXPECT_FALSE(granted({{"cmd", "permission"}, {"request", notARequest}}));
    }
    EXPECT_FALSE(granted({{"cmd", "permission"}}));
    EXPECT_TRUE(granted({{"cmd", "watch_permission"}}));
    // A request answers the state before the prompt; the scene then grants it.
    EXPECT_FALSE(granted({{"cmd", "permission"}, {"request", 1}}));
    EXPECT_TRUE(granted({{"cmd", "permission"}}));
    EXPECT_FALSE(granted({{"cmd", "axpermission"}, {"request", 0.5}}));
    EXPECT_TRUE(granted({{"cmd", "axpermission"}}));
}

// A loop over a table of test commands, writing to a pipe that the test reads.
class LoopWithTable : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(::pipe(fds_), 0);
        auto made = platform::sim::createSimDesktop({});
        ASSERT_TRUE(made.ok());
        desktop_ = std::move(made).value();
        state_ = std::make_unique<ProcessState>(fds_[1], nullptr);
    }
    void TearDown() override {
        ::close(fds_[0]);
        ::close(fds_[1]);
    }
    std::vector<Json> run(CommandTable table, const std::vector<std::string>& lines) {
        CommandLoop loop(std::move(table), CommandContext{*state_, *desktop_, queue_}, -1);
        for (const auto& line : lines)
            loop.handleLine(line);
        ::fcntl(fds_[0], F_SETFL, O_NONBLOCK);
        std::string output;
        char chunk[4096];
        ssize_t n;
        while ((n = ::read(fds_[0], chunk, sizeof chunk)) > 0)
            output.append(chunk, n);
        std::vector<Json> records;
        std::size_t start = 0, end;
        while ((end = output.find('\n', start)) != std::string::npos) {
            records.push_back(Json::parse(output.substr(start, end - start)));
            start = end + 1;
        }
        return records;
    }

    int fds_[2] = {-1, -1};
    std::unique_ptr<platform::Desktop> desktop_;
    std::unique_ptr<ProcessState> state_;
    MainQueue queue_;
};

TEST_F(LoopWithTable, FailureRuleDependsOnTheCommandName) {
    auto failing = [](const Fields&, CommandContext&) -> Status {
        return Error{"remote-semantics", 2, std::string("target_window_unavailable\0!", 27)};
    };
    CommandTable table;
    table.add("semantic_snapshot", failing);
    table.add("grab", failing);
    std::string longId(300, 'i');
    auto records =
        run(std::move(table),
            {R"({"cmd":"semantic_snapshot","request_id":42})", R"({"cmd":"semantic_snapshot"})",
             R"({"cmd":"semantic_snapshot","request_id":"a\u0000b)" + longId + "\"}",
             R"({"cmd":"grab"})"});
    ASSERT_EQ(records.size(), 4u);
    Json expected = {{"type", "semantic_status"},
                     {"protocol", 1},
                     {"request_id", "42"},
                     {"granted", false},
                     {"reason", "target_window_unavailable!"}};
    EXPECT_EQ(records[0], expected);
    expected["request_id"] = "";
    EXPECT_EQ(records[1], expected);
    EXPECT_EQ(records[2]["request_id"], "ab" + std::string(254, 'i'));
    EXPECT_EQ(records[3], Json({{"type", "error"},
                                {"error", std::string("target_window_unavailable\0!", 27)}}));
}

}  // namespace
}  // namespace brindlemar::testing
