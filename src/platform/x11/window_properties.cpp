#include "platform/x11/window_properties.h"

#include "platform/x11/text_encoding.h"

namespace brindlemar::platform::x11 {

namespace {

std::string_view propertyBytes(const PropertyReply& reply) {
    if (!reply || reply->format != 8 || reply->type == XCB_ATOM_NONE) return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

}  // namespace

xcb_get_property_cookie_t requestProperty(xcb_connection_t* connection, xcb_window_t window,
                                          xcb_atom_t property, std::uint32_t maxLongs) {
    return xcb_get_property(connection, 0, window, property, XCB_ATOM_ANY, 0, maxLongs);
}

PropertyReply takeProperty(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    return PropertyReply(xcb_get_property_reply(connection, cookie, nullptr));
}

std::vector<std::uint32_t> propertyValues(const PropertyReply& reply) {
    if (!reply || reply->format != 32) return {};
    const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {values, values + xcb_get_property_value_length(reply.get()) / 4};
}

std::optional<std::string> propertyText(const PropertyReply& reply, xcb_atom_t compoundText) {
    if (!reply || reply->type == XCB_ATOM_NONE || reply->format != 8) return std::nullopt;
    auto bytes = propertyBytes(reply);
    // Some clients end the text with a NUL.
    while (!bytes.empty() && bytes.back() == '\0')
        bytes.remove_suffix(1);
    if (reply->type == XCB_ATOM_STRING) return latin1ToUtf8(bytes);
    if (reply->type == compoundText) return compoundTextToUtf8(bytes);
    return validUtf8(bytes);
}

std::optional<std::string> wmClassName(const PropertyReply& reply) {
    auto bytes = propertyBytes(reply);
    auto separator = bytes.find('\0');
    if (separator == std::string_view::npos) return std::nullopt;
    auto className = bytes.substr(separator + 1);
    if (auto end = className.find('\0'); end != std::string_view::npos) {
        className = className.substr(0, end);
    }
    if (className.empty()) return std::nullopt;
    return latin1ToUtf8(className);
}

}  // namespace brindlemar::platform::x11
