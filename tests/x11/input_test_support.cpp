#include "x11/input_test_support.h"

#include <poll.h>

#include <stdexcept>
#include <thread>

namespace brindlemar::testing {

using Json = nlohmann::json;

InputFixture::InputFixture(const XServer& server, const std::string& title, int x, int y)
    : process_(server.spawn({systemPython(), fixturePath("input_fixture.py"), "--title", title,
                             "--position", std::to_string(x) + "," + std::to_string(y)},
                            true)) {
    auto ready = next("ready", std::chrono::seconds(15));
    if (!ready) throw std::runtime_error("the input fixture did not start");
    layout_ = *ready;
}

std::pair<double, double> InputFixture::centre(const std::string& widget) const {
    const auto& point = layout_.at(widget);
    return {point.at(0).get<double>(), point.at(1).get<double>()};
}

std::pair<double, double> InputFixture::fractionInFrame(const std::string& widget) const {
    const auto [x, y] = centre(widget);
    const auto& frame = layout_.at("frame");
    return {(x - frame.at(0).get<double>()) / frame.at(2).get<double>(),
            (y - frame.at(1).get<double>()) / frame.at(3).get<double>()};
}

void InputFixture::command(const std::string& line) {
    process_->writeLine(line);
}

void InputFixture::refreshLayout() {
    command("layout");
    if (auto layout = next("layout")) layout_ = *layout;
}

std::optional<Json> InputFixture::next(const std::string& event,
                                       std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return std::nullopt;
        auto line = process_->readLine(left);
        if (!line) return std::nullopt;
        auto record = Json::parse(*line, nullptr, false);
        if (record.is_object() && record.value("event", "") == event) return record;
    }
}

ProbeWindow::ProbeWindow(const std::string& display, int x, int y, int width, int height) {
    connection_ = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(connection_) != 0)
        throw std::runtime_error("cannot connect to " + display);
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    window_ = xcb_generate_id(connection_);
    const std::uint32_t values[] = {screen->white_pixel, 1,
                                    XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE |
                                        XCB_EVENT_MASK_BUTTON_PRESS |
                                        XCB_EVENT_MASK_BUTTON_RELEASE |
                                        XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_EXPOSURE};
    // Override-redirect: the window stays exactly where it is put, with no frame around it.
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root,
                      static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    xcb_map_window(connection_, window_);
    xcb_flush(connection_);
    // Wait for the first exposure: the window is then viewable and can take the focus.
    for (;;) {
        xcb_generic_event_t* event = xcb_wait_for_event(connection_);
        if (event == nullptr) throw std::runtime_error("lost the probe connection");
        const bool exposed = (event->response_type & 0x7f) == XCB_EXPOSE;
        std::free(event);
        if (exposed) break;
    }
}

ProbeWindow::~ProbeWindow() {
    xcb_disconnect(connection_);
}

std::pair<int, int> ProbeWindow::origin() {
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    auto* reply = xcb_translate_coordinates_reply(
        connection_, xcb_translate_coordinates(connection_, window_, screen->root, 0, 0), nullptr);
    std::pair<int, int> result{reply->dst_x, reply->dst_y};
    std::free(reply);
    return result;
}

void ProbeWindow::focus() {
    xcb_set_input_focus(connection_, XCB_INPUT_FOCUS_POINTER_ROOT, window_, XCB_CURRENT_TIME);
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

std::vector<ProbeWindow::Event> ProbeWindow::collect(std::size_t count,
                                                     std::chrono::milliseconds timeout) {
    std::vector<Event> events;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (events.size() < count && std::chrono::steady_clock::now() < deadline) {
        xcb_generic_event_t* event = xcb_poll_for_event(connection_);
        if (event == nullptr) {
            pollfd descriptor{xcb_get_file_descriptor(connection_), POLLIN, 0};
            ::poll(&descriptor, 1, 10);
            continue;
        }
        const std::uint8_t type = event->response_type & 0x7f;
        if (type >= XCB_KEY_PRESS && type <= XCB_MOTION_NOTIFY) {
            // Key, button and motion events share this layout.
            const auto* input = reinterpret_cast<const xcb_key_press_event_t*>(event);
            events.push_back({type, input->detail, input->state, input->root_x, input->root_y});
        }
        std::free(event);
    }
    return events;
}

void ProbeWindow::drain() {
    xcb_flush(connection_);
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_))
        std::free(event);
}

}  // namespace brindlemar::testing
