// Small helpers for talking to a display.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <xcb/xcb.h>

namespace test_support {

/// Ends the process when the display cannot be reached.
inline xcb_connection_t *connectedTo(const std::string &display) {
    xcb_connection_t *const connection = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(connection) != 0) {
        std::fprintf(stderr, "The display %s cannot be reached\n", display.c_str());
        std::abort();
    }
    return connection;
}

inline xcb_window_t rootOf(xcb_connection_t *connection) {
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
}

template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply *reply) {
    return {reply, &std::free};
}

inline xcb_atom_t atom(xcb_connection_t *connection, const char *name) {
    const auto length = static_cast<std::uint16_t>(std::strlen(name));
    const auto reply =
        owned(xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, length, name), nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

} // namespace test_support
