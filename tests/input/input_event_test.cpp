// The one parse of an input event: each key by the request conventions, the action read by the
// kind it belongs to.

#include <gtest/gtest.h>

#include "input/input_event.h"
#include "support/helper_process.h"

namespace brindlemar::testing {
namespace {

using Kind = InputEvent::Kind;
using Action = InputEvent::Action;

TEST(InputEventParse, KindAndActionFollowTheKind) {
    struct Row {
        Json event;
        Kind kind;
        Action action;
    };
    const Row rows[] = {
        {{{"kind", "mouse"}}, Kind::Mouse, Action::Move},
        {{{"kind", "mouse"}, {"action", "down"}}, Kind::Mouse, Action::Down},
        {{{"kind", "mouse"}, {"action", "up"}}, Kind::Mouse, Action::Up},
        {{{"kind", "mouse"}, {"action", "click"}}, Kind::Mouse, Action::Move},
        {{{"kind", "key"}}, Kind::Key, Action::Down},
        {{{"kind", "key"}, {"action", "down"}}, Kind::Key, Action::Down},
        {{{"kind", "key"}, {"action", "dwon"}}, Kind::Key, Action::Up},
        {{{"kind", "key"}, {"action", 1}}, Kind::Key, Action::Down},  // wrong type: absent
        {{{"kind", "scroll"}, {"action", "down"}}, Kind::Scroll, Action::Move},
        {{{"kind", "Mouse"}, {"action", "down"}}, Kind::Unknown, Action::Move},
        {Json::object(), Kind::Unknown, Action::Move},
    };
    for (const auto& row : rows) {
        const auto parsed = InputEvent::parse(row.event);
        EXPECT_EQ(parsed.kind, row.kind) << row.event;
        EXPECT_EQ(parsed.action, row.action) << row.event;
    }
}

TEST(InputEventParse, ValuesTakeTheirDefaultsAndFractionsAreClamped) {
    const auto defaults = InputEvent::parse({{"kind", "key"}, {"nx", "0.2"}, {"code", 4}});
    EXPECT_EQ(defaults.nx, 0.5);
    EXPECT_EQ(defaults.ny, 0.5);
    EXPECT_EQ(defaults.button, 0);
    EXPECT_EQ(defaults.code, "");

    const auto given = InputEvent::parse(
        {{"nx", -3}, {"ny", 7}, {"button", 2.9}, {"dx", -12.7}, {"dy", true}, {"code", "KeyA"}});
    EXPECT_EQ(given.nx, 0.0);
    EXPECT_EQ(given.ny, 1.0);
    EXPECT_EQ(given.button, 2);
    EXPECT_EQ(given.dx, -12.7);
    EXPECT_EQ(given.dy, 1.0);
    EXPECT_EQ(given.code, "KeyA");
}

}  // namespace
}  // namespace brindlemar::testing
