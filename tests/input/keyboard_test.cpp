// Key names, key events and the modifier state that later key and pointer events carry.

#include <set>

#include <gtest/gtest.h>

#include "input/key_table.h"
#include "input_session.h"

namespace brindlemar::testing {
namespace {

TEST(KeyTable, HasTheDistinctCodesAndInvertsToThem) {
    auto map = buildKeyMap();
    auto names = invertKeyMap(map);
    EXPECT_EQ(map.size(), 106u);
    EXPECT_EQ(names.size(), 106u);
    for (const auto& [name, code] : map)
        EXPECT_EQ(names.at(code), name);
    EXPECT_EQ(names.at(0x4C), "NumpadEnter");
    EXPECT_EQ(names.at(0x24), "Enter");
}

TEST(KeyEvents, UnusualRowsPostTheirPhysicalKeys) {
    struct Row {
        const char* name;
        int code;
    };
    const Row rows[] = {
        {"KeyA", 0x00},     {"Enter", 0x24},     {"NumpadEnter", 0x4C}, {"Backspace", 0x33},
        {"Delete", 0x75},   {"Insert", 0x72},    {"NumLock", 0x47},     {"ContextMenu", 0x6E},
        {"MetaLeft", 0x37}, {"MetaRight", 0x36}, {"AltLeft", 0x3A},     {"Digit5", 0x17},
        {"F16", 0x6A},      {"ArrowUp", 0x7E},
    };
    InputSession session;
    for (const auto& row : rows) {
        for (bool down : {true, false}) {
            ASSERT_EQ(session.input(7, key(row.name, down ? "down" : "up")), kOk) << row.name;
            auto event = session.onlyEvent();
            EXPECT_EQ(event["keycode"], row.code) << row.name;
            EXPECT_EQ(event["key_down"], down) << row.name;
            EXPECT_EQ(event["type"], down ? 10 : 11) << row.name;
            EXPECT_EQ(event["target"], "hid");
            EXPECT_TRUE(event["unicode"].is_null()) << "no text is attached";
        }
    }
}

TEST(KeyEvents, NamesAreExactAndCaseSensitive) {
    InputSession session;
    for (Json code : {Json("keya"), Json("A"), Json("KEYA"), Json("KeyA "), Json(""), Json("F17"),
                      Json("Fn"), Json("IntlBackslash"), Json("Return"), Json(0)}) {
        Json event = {{"kind", "key"}, {"code", code}};
        EXPECT_EQ(session.input(7, event), refusal("unknown_key")) << code;
    }
    // Without a code at all the name is empty.
    EXPECT_EQ(session.input(7, {{"kind", "key"}}), refusal("unknown_key"));
    // An unknown modifier-like name changes no modifier state.
    EXPECT_EQ(session.input(7, key("shiftleft")), refusal("unknown_key"));
    EXPECT_TRUE(session.events().empty());
    ASSERT_EQ(session.input(7, key("KeyA")), kOk);
    EXPECT_EQ(numberOrZero(session.onlyEvent(), "flags"), 0);
}

TEST(KeyEvents, OnlyTheExactDownActionPresses) {
    InputSession session;
    struct Row {
        Json action;
        bool down;
    };
    const Row rows[] = {{"down", true},  {Json(), true},   {"up", false},  {"Down", false},
                        {"dwon", false}, {"press", false}, {Json(1), true}};  // a number is absent:
                                                                              // the default "down"
    for (const auto& row : rows) {
        Json event = {{"kind", "key"}, {"code", "KeyS"}};
        if (!row.action.is_null()) event["action"] = row.action;
        ASSERT_EQ(session.input(7, event), kOk);
        EXPECT_EQ(session.onlyEvent()["key_down"], row.down) << row.action;
    }
}

// Each step is one request; `flags` is the mask the event it posts must carry.
struct ModifierStep {
    Json event;
    std::uint64_t flags;
};

void runModifierSteps(const std::vector<ModifierStep>& steps) {
    InputSession session;
    int index = 0;
    for (const auto& step : steps) {
        ASSERT_EQ(session.input(7, step.event), kOk) << "step " << index;
        EXPECT_EQ(numberOrZero(session.onlyEvent(), "flags"), static_cast<std::int64_t>(step.flags))
            << "step " << index << ": " << step.event;
        ++index;
    }
}

TEST(Modifiers, ShiftIsOneFlagForBothSides) {
    runModifierSteps({
        {key("ShiftLeft"), 0x20000},
        {key("KeyA"), 0x20000},
        {key("KeyA", "up"), 0x20000},
        {mouse("move"), 0x20000},
        {key("ShiftRight", "up"), 0},
        {key("KeyA"), 0},
        {mouse("down"), 0},
    });
}

TEST(Modifiers, CapsLockIsHeldNotToggled) {
    runModifierSteps({
        {key("CapsLock"), 0x10000},
        {key("KeyB"), 0x10000},
        {key("CapsLock", "up"), 0},
        {key("KeyB"), 0},
    });
}

TEST(Modifiers, HeldModifiersCombineAndReachClicks) {
    runModifierSteps({
        {key("MetaLeft"), 0x100000},
        {key("AltRight"), 0x180000},
        {key("ControlLeft"), 0x1C0000},
        {mouse("down"), 0x1C0000},
        {mouse("up"), 0x1C0000},
        {key("KeyC"), 0x1C0000},
        {key("ControlRight", "up"), 0x180000},
        {key("AltLeft", "up"), 0x100000},
        // Releasing a modifier that is not held changes nothing and still posts its key-up.
        {key("ShiftLeft", "up"), 0x100000},
        {key("MetaRight", "up"), 0},
    });
}

TEST(Modifiers, ScrollEventsCarryNoFlags) {
    InputSession session;
    ASSERT_EQ(session.input(7, key("MetaLeft")), kOk);
    session.events();
    ASSERT_EQ(session.input(7, {{"kind", "scroll"}, {"dy", 10}}), kOk);
    EXPECT_EQ(numberOrZero(session.onlyEvent(), "flags"), 0);
}

}  // namespace
}  // namespace brindlemar::testing
