#include "test_support/Screen.h"

#include "test_support/Isolation.h"

#include <array>
#include <stdexcept>

namespace test_support {

Xvfb::Xvfb(const std::string &size) {
    ProgramOptions options{.program = "/usr/bin/Xvfb",
                           .arguments = {"-displayfd", "1", "-screen", "0", size + "x24", "-dpi", "96",
                                         "-nolisten", "tcp", "-noreset"}};
    // The name of a display is taken by its socket, which all processes of the machine see; its lock file
    // names a process by number, which means another one in another namespace.
    if (hasOwnNamespaces())
        options.arguments.emplace_back("-nolock");
    m_server = std::make_unique<ProgramRun>(options);
    m_name = ":" + m_server->waitForFirstLine();
}

Screen::Screen(const std::string &display)
    : m_connection(xcb_connect(display.c_str(), nullptr), &xcb_disconnect) {
    if (xcb_connection_has_error(connection()) != 0)
        throw std::runtime_error("The display " + display + " cannot be reached");
}

xcb_window_t Screen::root() const {
    return xcb_setup_roots_iterator(xcb_get_setup(connection())).data->root;
}

xcb_atom_t Screen::atom(const std::string &name) const {
    const auto cookie =
        xcb_intern_atom(connection(), 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const auto reply = owned(xcb_intern_atom_reply(connection(), cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::optional<Screen::Window> Screen::window(const std::string &title) const {
    const auto tree =
        owned(xcb_query_tree_reply(connection(), xcb_query_tree(connection(), root()), nullptr));
    const xcb_window_t *const first = tree ? xcb_query_tree_children(tree.get()) : nullptr;
    for (int i = 0; first != nullptr && i < xcb_query_tree_children_length(tree.get()); ++i) {
        const xcb_window_t number = first[i];
        const auto name = property<char>(number, "_NET_WM_NAME");
        const auto seen = owned(xcb_get_window_attributes_reply(
            connection(), xcb_get_window_attributes(connection(), number), nullptr));
        const auto place =
            owned(xcb_get_geometry_reply(connection(), xcb_get_geometry(connection(), number), nullptr));
        if (seen && seen->map_state == XCB_MAP_STATE_VIEWABLE && place &&
            std::string(name.begin(), name.end()).starts_with(title))
            return Window{number, {place->x, place->y, place->width, place->height}};
    }
    return std::nullopt;
}

void Screen::focus(xcb_window_t window) const {
    xcb_set_input_focus(connection(), XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
    xcb_flush(connection());
}

void Screen::resize(xcb_window_t window, int width, int height) const {
    const std::array<int, 2> size{width, height};
    xcb_configure_window(connection(), window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         size.data());
    xcb_flush(connection());
}

void Screen::movePointerAway() const {
    xcb_warp_pointer(connection(), XCB_NONE, root(), 0, 0, 0, 0, 0, 0);
    xcb_flush(connection());
}

void Screen::requestClose(xcb_window_t window) const {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom("WM_PROTOCOLS");
    event.data.data32[0] = atom("WM_DELETE_WINDOW");
    event.data.data32[1] = XCB_CURRENT_TIME;
    send(window, event);
}

void Screen::cover(const Extents &extents) const {
    const xcb_window_t window = xcb_generate_id(connection());
    const std::uint32_t black = 0;
    xcb_create_window(connection(), XCB_COPY_FROM_PARENT, window, root(),
                      static_cast<std::int16_t>(extents.x), static_cast<std::int16_t>(extents.y),
                      static_cast<std::uint16_t>(extents.width), static_cast<std::uint16_t>(extents.height),
                      0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL, &black);
    xcb_map_window(connection(), window);
    xcb_flush(connection());
}

QImage Screen::picture(const Extents &extents) const {
    const auto cookie =
        xcb_get_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, root(), static_cast<std::int16_t>(extents.x),
                      static_cast<std::int16_t>(extents.y), static_cast<std::uint16_t>(extents.width),
                      static_cast<std::uint16_t>(extents.height), ~0U);
    const auto reply = owned(xcb_get_image_reply(connection(), cookie, nullptr));
    if (!reply)
        throw std::runtime_error("That place is not on the display");
    return QImage(xcb_get_image_data(reply.get()), extents.width, extents.height, QImage::Format_RGB32)
        .copy();
}

} // namespace test_support
