#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/x11/xcb_reply.h"

// Decoding of window properties as xcb delivers them.
namespace brindlemar::platform::x11 {

using PropertyReply = XcbReply<xcb_get_property_reply_t>;

// Asks for up to `maxLongs` 32-bit units of a property of any type.
xcb_get_property_cookie_t requestProperty(xcb_connection_t* connection, xcb_window_t window,
                                          xcb_atom_t property, std::uint32_t maxLongs = 1024);
PropertyReply takeProperty(xcb_connection_t* connection, xcb_get_property_cookie_t cookie);

// The 32-bit values of a CARDINAL, ATOM or WINDOW property; empty when absent or of another
// format.
std::vector<std::uint32_t> propertyValues(const PropertyReply& reply);

// A text property as valid UTF-8, decoded by its type (STRING, COMPOUND_TEXT, else UTF-8); none
// when the property is absent.
std::optional<std::string> propertyText(const PropertyReply& reply, xcb_atom_t compoundText);

// The class part of WM_CLASS ("instance\0class\0"); none when absent or empty.
std::optional<std::string> wmClassName(const PropertyReply& reply);

}  // namespace brindlemar::platform::x11
