// The output channel against a real pipe: framing, payload records and concurrent writers.

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "core/output_channel.h"

namespace brindlemar {
namespace {

class OutputChannelTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(::pipe(fds_), 0);
        channel_ = std::make_unique<OutputChannel>(fds_[1]);
        reader_ = std::thread([this] {
            char chunk[65536];
            ssize_t n;
            while ((n = ::read(fds_[0], chunk, sizeof chunk)) > 0)
                output_.append(chunk, n);
        });
    }
    // Closes the write end and returns everything written.
    std::string finish() {
        channel_.reset();
        ::close(fds_[1]);
        reader_.join();
        ::close(fds_[0]);
        return output_;
    }

    int fds_[2] = {-1, -1};
    std::unique_ptr<OutputChannel> channel_;
    std::thread reader_;
    std::string output_;
};

TEST_F(OutputChannelTest, RecordsAreCompactLinesAndFramesCarryTheirPayload) {
    channel_->emitLine(Json{{"type", "pong"}});
    channel_->emitError("grab: missing id");
    std::vector<std::uint8_t> payload = {0x89, 'P', 'N', 'G', '\n', 0x00};
    channel_->emitFrame(payload, 2, 1, 1.5);
    channel_->emitFrame({}, 0, 0, 2.0, "RGBA");
    std::string out = finish();

    std::string expected =
        "{\"type\":\"pong\"}\n{\"error\":\"grab: missing id\",\"type\":\"error\"}\n";
    ASSERT_EQ(out.substr(0, expected.size()), expected);
    out.erase(0, expected.size());

    auto firstEnd = out.find('\n');
    auto frame = Json::parse(out.substr(0, firstEnd));
    EXPECT_EQ(frame, Json({{"type", "frame"},
                           {"w", 2},
                           {"h", 1},
                           {"scale", 1.5},
                           {"len", 6},
                           {"format", "PNG"}}));
    EXPECT_EQ(out.substr(firstEnd + 1, 6), std::string(payload.begin(), payload.end()));
    out.erase(0, firstEnd + 1 + 6);

    auto empty = Json::parse(out.substr(0, out.size() - 1));
    EXPECT_EQ(empty["len"], 0);
    EXPECT_EQ(empty["format"], "RGBA");
    EXPECT_EQ(out.back(), '\n');
}

TEST_F(OutputChannelTest, UnserialisableRecordsAreDroppedWhole) {
    channel_->emitLine(Json{{"type", "bad"}, {"text", "\xff\xfe"}});
    channel_->emitFrame(std::vector<std::uint8_t>(10, 1), 1, 1, std::nan(""));
    channel_->emitLine(Json{{"type", "after"}});
    EXPECT_EQ(finish(), "{\"type\":\"after\"}\n");
}

TEST_F(OutputChannelTest, ConcurrentFramesNeverInterleave) {
    constexpr int kThreads = 4;
    constexpr int kFrames = 50;
    constexpr std::size_t kSize = 300 * 1024;  // larger than a pipe buffer: writes are partial
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([this, t] {
            std::vector<std::uint8_t> payload(kSize, static_cast<std::uint8_t>('a' + t));
            for (int i = 0; i < kFrames; ++i) {
                channel_->emitFrame(payload, t, i, 1.0);
                channel_->emitLine(Json{{"type", "tick"}, {"t", t}});
            }
        });
    }
    for (auto& w : writers)
        w.join();
    std::string out = finish();

    std::size_t pos = 0;
    int frames = 0, ticks = 0;
    while (pos < out.size()) {
        auto end = out.find('\n', pos);
        ASSERT_NE(end, std::string::npos);
        auto header = Json::parse(out.substr(pos, end - pos));
        pos = end + 1;
        if (header["type"] == "tick") {
            ++ticks;
            continue;
        }
        ASSERT_EQ(header["type"], "frame");
        ASSERT_EQ(header["len"], kSize);
        char expected = static_cast<char>('a' + header["w"].get<int>());
        ASSERT_EQ(out.find_first_not_of(expected, pos), pos + kSize);
        pos += kSize;
        ++frames;
    }
    EXPECT_EQ(frames, kThreads * kFrames);
    EXPECT_EQ(ticks, kThreads * kFrames);
}

}  // namespace
}  // namespace brindlemar
