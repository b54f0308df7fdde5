// Pointer and scroll events: positions inside the target, click counting on the desktop clock,
// button mapping, drags, scroll conversion and display fallback.

#include <gtest/gtest.h>

#include "input_session.h"

namespace brindlemar::testing {
namespace {

// Window 7 spans x 100..1100 and y 80..580.
TEST(Positions, NormalisedCoordinatesAreClampedIntoTheWindow) {
    struct Row {
        Json nx, ny;
        double x, y;
    };
    const Row rows[] = {
        {Json(), Json(), 600, 330},  // absent: the centre
        {-3, 7, 100, 580},           // clamped to the left and bottom edges
        {0, 1, 100, 580},
        {0.25, 0.1, 350, 130},
        {true, false, 1100, 80},           // booleans count as 1 and 0
        {"0.2", Json::array(), 600, 330},  // other types are absent
        {1e300, -1e300, 1100, 80},
    };
    InputSession session;
    for (const auto& row : rows) {
        Json event = {{"kind", "mouse"}};
        if (!row.nx.is_null()) event["nx"] = row.nx;
        if (!row.ny.is_null()) event["ny"] = row.ny;
        ASSERT_EQ(session.input(7, event), kOk);
        auto posted = session.onlyEvent();
        EXPECT_DOUBLE_EQ(posted["x"].get<double>(), row.x) << event;
        EXPECT_DOUBLE_EQ(posted["y"].get<double>(), row.y) << event;
        EXPECT_EQ(posted["type"], 5);
    }
}

TEST(Positions, KeyEventsStillNeedTheirWindow) {
    InputSession session;
    EXPECT_EQ(session.input(999, key("KeyA")), refusal("window_gone"));
    // A window that leaves the list after it was seen is gone too.
    ASSERT_EQ(session.input(9, key("KeyA")), kOk);
    session.control().merge({{"windows", Json::array()}});
    EXPECT_EQ(session.input(9, key("KeyA")), refusal("window_gone"));
    EXPECT_EQ(session.input(7, mouse("down")), refusal("window_gone"));
    EXPECT_EQ(session.input(7, {{"kind", "scroll"}}), refusal("window_gone"));
    EXPECT_EQ(session.events().size(), 1u);  // only the first key went out
}

TEST(Positions, OffScreenWindowsAreStillTargets) {
    InputSession session;
    ASSERT_EQ(session.input(11, mouse("move", 0, 0, 0)), kOk);
    auto posted = session.onlyEvent();
    EXPECT_EQ(posted["x"], 2000);
    EXPECT_EQ(posted["y"], 2000);
}

TEST(Positions, DisplaysFallBackToTheMainDisplay) {
    struct Row {
        Json id;
        double x, y;
    };
    const Row rows[] = {
        {1, 756, 491},
        {2, 2472, 540},
        {99, 756, 491},  // unknown
        {3, 756, 491},   // inactive
        {0, 756, 491},
        {Json(), 756, 491},         // absent: display 0
        {"2", 756, 491},            // not a number: display 0
        {4294967298LL, 2472, 540},  // the low 32 bits name display 2
    };
    InputSession session;
    for (const auto& row : rows) {
        Json request = {{"cmd", "input_display"}, {"event", mouse("move")}};
        if (!row.id.is_null()) request["id"] = row.id;
        ASSERT_EQ(session.request(request), kOk) << row.id;
        auto posted = session.onlyEvent();
        EXPECT_DOUBLE_EQ(posted["x"].get<double>(), row.x) << row.id;
        EXPECT_DOUBLE_EQ(posted["y"].get<double>(), row.y) << row.id;
    }
}

TEST(Positions, AChosenMainDisplayIsTheFallback) {
    std::string scene = kInputScene;
    scene.insert(scene.find('{') + 1, R"("main_display": 2,)");
    InputSession session(scene);
    ASSERT_EQ(session.inputDisplay(42, mouse("move", 0, 0, 0)), kOk);
    auto posted = session.onlyEvent();
    EXPECT_EQ(posted["x"], 1512);
    EXPECT_EQ(posted["y"], 0);
}

// Two down/up pairs, the clock moved by `gap` between them and the second pair shifted by
// `shift` points; the second pair must carry `second` as its click state.
TEST(Clicks, CountedOnTheSameButtonWithinHalfASecondAndFivePoints) {
    struct Row {
        const char* what;
        double gap;
        double shift;
        int secondButton;
        int second;
    };
    const Row rows[] = {
        {"double click", 0.2, 3, 0, 2},
        {"moved six points", 0.2, 6, 0, 1},
        {"moved just under five", 0.2, 4.9, 0, 2},
        {"other button", 0.2, 0, 2, 1},
        {"half a second later", 0.5, 0, 0, 1},
        {"just inside the interval", 0.49, 0, 0, 2},
        {"right double click", 0.2, 0, -1, 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        InputSession session;
        int firstButton = row.secondButton < 0 ? 2 : 0;
        int secondButton = row.secondButton < 0 ? 2 : row.secondButton;
        // Window 7 is 1000 points wide: 0.001 of nx is one point.
        ASSERT_EQ(session.input(7, mouse("down", firstButton)), kOk);
        ASSERT_EQ(session.input(7, mouse("up", firstButton)), kOk);
        session.control().advanceClock(row.gap);
        double nx = 0.5 + row.shift / 1000.0;
        ASSERT_EQ(session.input(7, mouse("down", secondButton, nx)), kOk);
        ASSERT_EQ(session.input(7, mouse("up", secondButton, nx)), kOk);
        auto posted = session.events();
        ASSERT_EQ(posted.size(), 4u);
        EXPECT_EQ(posted[0]["click_state"], 1);
        EXPECT_EQ(posted[1]["click_state"], 1);
        EXPECT_EQ(posted[2]["click_state"], row.second);
        EXPECT_EQ(posted[3]["click_state"], row.second);
    }
}

TEST(Clicks, CountsGoOnWithoutLimitAndMovesCarryNoClickState) {
    InputSession session;
    for (int click = 1; click <= 4; ++click) {
        ASSERT_EQ(session.input(7, mouse("down")), kOk);
        ASSERT_EQ(session.input(7, mouse("move")), kOk);
        ASSERT_EQ(session.input(7, mouse("up")), kOk);
        session.control().advanceClock(0.1);
        auto posted = session.events();
        ASSERT_EQ(posted.size(), 3u);
        EXPECT_EQ(posted[0]["click_state"], click);
        EXPECT_TRUE(posted[1]["click_state"].is_null());
        EXPECT_EQ(posted[2]["click_state"], click);
    }
}

// Each step is one mouse request on window 7 and the event type and system button it posts.
struct PointerStep {
    const char* action;
    Json button;
    int type;
    int systemButton;
};

void runPointerSteps(const std::vector<PointerStep>& steps) {
    InputSession session;
    for (const auto& step : steps) {
        Json event = {{"kind", "mouse"}, {"action", step.action}};
        if (!step.button.is_null()) event["button"] = step.button;
        ASSERT_EQ(session.input(7, event), kOk);
        auto posted = session.onlyEvent();
        EXPECT_EQ(posted["type"], step.type) << event;
        EXPECT_EQ(posted["button"], step.systemButton) << event;
    }
}

TEST(Buttons, DomNumbersMapToSystemButtons) {
    runPointerSteps({
        {"down", 0, 1, 0},
        {"up", 0, 2, 0},  // left
        {"down", 2, 3, 1},
        {"up", 2, 4, 1},  // right
        {"down", 1, 25, 2},
        {"up", 1, 26, 2},  // middle
        {"down", 7, 1, 0},
        {"up", 7, 2, 0},  // anything else is the left button
        {"down", -1, 1, 0},
        {"up", -1, 2, 0},
        {"down", 2.9, 3, 1},
        {"up", 2.9, 4, 1},  // truncated
        {"down", Json(), 1, 0},
        {"up", Json(), 2, 0},
        {"click", 0, 5, 0},  // not a known action: a move
        {"Down", 0, 5, 0},
    });
}

TEST(Buttons, MovesWhileHeldAreDragsOfTheFirstHeldButtonByPriority) {
    runPointerSteps({
        {"down", 0, 1, 0},
        {"move", 0, 6, 0},
        {"up", 0, 2, 0},
        {"move", 0, 5, 0},
        {"down", 2, 3, 1},
        {"move", 2, 7, 1},
        {"down", 0, 1, 0},
        {"move", 2, 6, 1},  // left wins over right; the event keeps the request's button
        {"up", 0, 2, 0},
        {"down", 1, 25, 2},
        {"move", 1, 7, 2},  // right wins over middle
        {"up", 2, 4, 1},
        {"move", 1, 27, 2},
        {"up", 1, 26, 2},
        {"move", 1, 5, 2},
    });
}

TEST(Scroll, DistancesAreNegatedClampedAndTruncated) {
    struct Row {
        Json dx, dy;
        int horizontal, vertical;
    };
    const Row rows[] = {
        {0, 1000, 0, -500},          {-12.7, 0, 12, 0},      {600, -3.9, -500, 3},
        {499.99, -500.5, -499, 500}, {Json(), Json(), 0, 0}, {"5", true, 0, -1},
        {1e300, -1e300, -500, 500},
    };
    InputSession session;
    for (const auto& row : rows) {
        Json event = {{"kind", "scroll"}, {"nx", 0}, {"ny", 0}};
        if (!row.dx.is_null()) event["dx"] = row.dx;
        if (!row.dy.is_null()) event["dy"] = row.dy;
        ASSERT_EQ(session.input(7, event), kOk);
        auto posted = session.onlyEvent();
        EXPECT_EQ(posted["type"], 22);
        EXPECT_EQ(posted["wheel"], Json({row.vertical, row.horizontal})) << event;
        EXPECT_EQ(posted["x"], 100);
        EXPECT_EQ(posted["y"], 80);
        EXPECT_TRUE(posted["click_state"].is_null());
    }
}

TEST(Scroll, LeavesThePointerStateAlone) {
    InputSession session;
    ASSERT_EQ(session.input(7, mouse("down")), kOk);
    ASSERT_EQ(session.input(7, mouse("up")), kOk);
    ASSERT_EQ(session.input(7, {{"kind", "scroll"}, {"dy", 5}}), kOk);
    ASSERT_EQ(session.input(7, mouse("down")), kOk);
    auto posted = session.events();
    ASSERT_EQ(posted.size(), 4u);
    EXPECT_EQ(posted[3]["click_state"], 2);
}

}  // namespace
}  // namespace brindlemar::testing
