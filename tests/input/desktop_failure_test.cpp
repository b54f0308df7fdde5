// Input on a desktop that fails: a post that fails is answered as the failure it is, with the
// error record every command answers a failure with, never as a refusal word of its own.

#include <fstream>

#include <gtest/gtest.h>

#include "in_process_loop.h"
#include "input_session.h"
#include "platform/sim/sim_backend.h"
#include "support/delegating_desktop.h"

namespace brindlemar::testing {
namespace {

// Fails every post with the error an X11 desktop gives once its server is gone.
class FailingPoster final : public platform::EventPoster {
  public:
    Status post(const platform::SyntheticEvent&, platform::EventTarget) override {
        ++posts;
        return Error{"x11", 0, "X server connection lost"};
    }
    Expected<bool> wouldReach(const platform::SyntheticEvent&, std::uint32_t,
                              std::int32_t) override {
        return true;
    }
    void releaseIfHeld(const platform::SyntheticEvent&) override {}
    void releaseAllHeld() override {}
    int posts = 0;
};

// The simulated desktop of the input scene, with its events replaced by `FailingPoster`.
class FailingDesktop final : public DelegatingDesktop {
  public:
    using DelegatingDesktop::DelegatingDesktop;
    platform::EventPoster& events() override { return poster; }

    FailingPoster poster;
};

class DesktopFailure : public ::testing::Test {
  protected:
    void SetUp() override {
        std::ofstream(dir_.file("scene.json")) << kInputScene;
        auto sim = platform::sim::createSimDesktop({.scenePath = dir_.file("scene.json")});
        ASSERT_TRUE(sim.ok()) << sim.error().message;
        desktop_ = std::make_unique<FailingDesktop>(std::move(sim).value());
        loop_ = std::make_unique<InProcessLoop>(*desktop_);
    }

    Json input(const char* command, Json event) {
        return loop_->send({{"cmd", command}, {"id", 7}, {"event", std::move(event)}});
    }

    TempDir dir_;
    std::unique_ptr<FailingDesktop> desktop_;
    std::unique_ptr<InProcessLoop> loop_;
};

TEST_F(DesktopFailure, AFailedPostIsAnsweredWithTheDesktopsError) {
    const Json lost = {{"type", "error"}, {"error", "X server connection lost"}};
    const Json events[] = {mouse("down"), mouse("up"),
                           mouse("move"), {{"kind", "scroll"}, {"dy", 40}},
                           key("KeyA"),   key("ShiftLeft", "up")};
    for (const char* command : {"input", "input_display"}) {
        for (const auto& event : events)
            EXPECT_EQ(input(command, event), lost) << command << " " << event;
    }
    EXPECT_EQ(desktop_->poster.posts, 12);
}

TEST_F(DesktopFailure, RefusalsAreDecidedBeforeAnythingIsPosted) {
    EXPECT_EQ(input("input", key("keya")), refusal("unknown_key"));
    EXPECT_EQ(input("input", {{"kind", "touch"}}), refusal("bad_kind"));
    EXPECT_EQ(loop_->send({{"cmd", "input"}, {"id", 999}, {"event", mouse("down")}}),
              refusal("window_gone"));
    EXPECT_EQ(desktop_->poster.posts, 0);
}

}  // namespace
}  // namespace brindlemar::testing
