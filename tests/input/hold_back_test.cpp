// Input held back while a file drop is under way. The drop flag is set directly on the process
// state, the way the file-drop coordinator sets it, and requests go through the command loop.

#include <fstream>

#include <gtest/gtest.h>

#include "filedrop/input_hold_back.h"
#include "in_process_loop.h"
#include "input_session.h"
#include "platform/sim/sim_backend.h"

namespace brindlemar::testing {
namespace {

class HoldBack : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string scene = kInputScene;
        scene.insert(scene.find('{') + 1, R"("drag_pasteboard": {"change": 5},)");
        std::ofstream(dir_.file("scene.json")) << scene;
        auto made = platform::sim::createSimDesktop({.scenePath = dir_.file("scene.json"),
                                                     .socketPath = dir_.file("control.sock"),
                                                     .journalPath = dir_.file("journal.jsonl")});
        ASSERT_TRUE(made.ok()) << made.error().message;
        desktop_ = std::move(made).value();
        loop_ = std::make_unique<InProcessLoop>(*desktop_);
        state_ = &loop_->state();
    }
    void TearDown() override {
        loop_.reset();
        desktop_.reset();
    }

    Json send(const Json& request) { return loop_->send(request); }
    Json input(Json id, Json event) {
        return send({{"cmd", "input"}, {"id", std::move(id)}, {"event", std::move(event)}});
    }
    // Event types journalled since the last call.
    std::vector<int> postedTypes() {
        std::ifstream journal(dir_.file("journal.jsonl"));
        std::vector<int> types;
        std::string line;
        std::size_t index = 0;
        while (std::getline(journal, line)) {
            if (index++ < journalSeen_) continue;
            auto entry = Json::parse(line);
            if (entry.value("effect", "") == "event") types.push_back(entry["type"]);
        }
        journalSeen_ = index;
        return types;
    }

    TempDir dir_;
    std::unique_ptr<platform::Desktop> desktop_;
    std::unique_ptr<InProcessLoop> loop_;
    ProcessState* state_ = nullptr;
    std::size_t journalSeen_ = 0;
};

TEST_F(HoldBack, WithoutADropEverythingIsPerformedAndPressesSetTheBaseline) {
    EXPECT_EQ(state_->dragPasteboardBaseline, -1);
    EXPECT_EQ(input(7, mouse("move")), kOk);
    EXPECT_EQ(input(7, key("KeyA")), kOk);
    EXPECT_EQ(state_->dragPasteboardBaseline, -1) << "only presses note the pasteboard";
    EXPECT_EQ(input(7, mouse("down")), kOk);
    EXPECT_EQ(state_->dragPasteboardBaseline, 5);
    EXPECT_EQ(input(7, mouse("up")), kOk);
    EXPECT_EQ(postedTypes(), std::vector<int>({5, 10, 1, 2}));
}

TEST_F(HoldBack, DuringADropPointerInputIsSwallowedAndKeysGoThrough) {
    state_->fileDrop.setActive(true);
    EXPECT_TRUE(state_->fileDrop.active());
    const std::vector<Json> swallowed = {
        mouse("down"), mouse("move"), mouse("up", 2), {{"kind", "scroll"}, {"dy", 40}}};
    for (const auto& event : swallowed) {
        EXPECT_EQ(input(7, event), kOk) << event;
        EXPECT_EQ(send({{"cmd", "input_display"}, {"event", event}}), kOk) << event;
        // Held back before the window is looked up.
        EXPECT_EQ(input(999, event), kOk) << event;
    }
    EXPECT_EQ(postedTypes(), std::vector<int>()) << "nothing posted, nothing raised";
    // A swallowed press still noted the pasteboard, and the pointer state did not move.
    EXPECT_EQ(state_->dragPasteboardBaseline, 5);
    EXPECT_TRUE(loop_->subsystems().input.state().buttonsDown.empty());

    EXPECT_EQ(input(7, key("KeyA")), kOk);
    EXPECT_EQ(input(7, key("KeyA", "up")), kOk);
    EXPECT_EQ(input(999, key("KeyA")), refusal("window_gone"));
    EXPECT_EQ(input(7, {{"kind", "wheel"}}), refusal("bad_kind"));
    EXPECT_EQ(postedTypes(), std::vector<int>({10, 11}));

    state_->fileDrop.setActive(false);
    EXPECT_EQ(input(7, mouse("down")), kOk);
    EXPECT_EQ(postedTypes(), std::vector<int>({1}));
    EXPECT_EQ(loop_->subsystems().input.state().clickState, 1);
}

TEST_F(HoldBack, TheBaselineFollowsTheDragPasteboard) {
    SimControl control(dir_.file("control.sock"));
    state_->fileDrop.setActive(true);
    control.merge({{"drag_pasteboard", {{"change", 9}}}});
    EXPECT_EQ(input(7, mouse("down")), kOk);
    EXPECT_EQ(state_->dragPasteboardBaseline, 9);
    state_->fileDrop.setActive(false);
    control.merge({{"drag_pasteboard", {{"change", 12}}}});
    EXPECT_EQ(send({{"cmd", "input_display"}, {"event", mouse("down")}}), kOk);
    EXPECT_EQ(state_->dragPasteboardBaseline, 12);
}

}  // namespace
}  // namespace brindlemar::testing
