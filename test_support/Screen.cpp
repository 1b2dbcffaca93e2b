#include "test_support/Screen.h"

#include "test_support/Xcb.h"

namespace test_support {

Screen::Screen(const std::string &display)
    : m_connection(connectedTo(display))
    , m_root(rootOf(m_connection)) {}

Screen::~Screen() {
    xcb_disconnect(m_connection);
}

std::vector<std::uint32_t> Screen::property(std::uint32_t window, const char *name) const {
    constexpr std::uint32_t most = 64;
    const auto cookie =
        xcb_get_property(m_connection, 0, window, atom(m_connection, name), XCB_ATOM_ANY, 0, most);
    const auto reply = owned(xcb_get_property_reply(m_connection, cookie, nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto *values = static_cast<std::uint32_t *>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

std::string Screen::textProperty(std::uint32_t window, const char *name) const {
    constexpr std::uint32_t most = 256;
    const auto cookie =
        xcb_get_property(m_connection, 0, window, atom(m_connection, name), XCB_ATOM_ANY, 0, most);
    const auto reply = owned(xcb_get_property_reply(m_connection, cookie, nullptr));
    if (!reply || reply->format != 8)
        return "";
    return {static_cast<char *>(xcb_get_property_value(reply.get())), reply->value_len};
}

std::vector<Screen::Window> Screen::windows() const {
    std::vector<Window> found;
    const auto tree =
        owned(xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, m_root), nullptr));
    const auto *numbers = tree ? xcb_query_tree_children(tree.get()) : nullptr;
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree.get()); ++i) {
        const std::uint32_t number = numbers[i];
        const auto attributes = owned(xcb_get_window_attributes_reply(
            m_connection, xcb_get_window_attributes(m_connection, number), nullptr));
        const auto place =
            owned(xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, number), nullptr));
        const auto process = property(number, "_NET_WM_PID");
        if (!attributes || !place || attributes->map_state != XCB_MAP_STATE_VIEWABLE || process.empty())
            continue;
        Window window{.number = number,
                      .process = static_cast<pid_t>(process.front()),
                      .title = textProperty(number, "_NET_WM_NAME"),
                      .extents = {place->x, place->y, place->width, place->height},
                      .minimum = {}};
        // ICCCM 4.1.2.3: flags, four unused, minimum width and height.
        if (const auto hints = property(number, "WM_NORMAL_HINTS"); hints.size() > 6 && (hints[0] & 16) != 0)
            window.minimum = {0, 0, static_cast<int>(hints[5]), static_cast<int>(hints[6])};
        found.push_back(window);
    }
    return found;
}

void Screen::requestClose(const Window &window) const {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window.number;
    event.type = atom(m_connection, "WM_PROTOCOLS");
    event.data.data32[0] = atom(m_connection, "WM_DELETE_WINDOW");
    event.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(m_connection, 0, window.number, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(m_connection);
}

void Screen::resize(const Window &window, int width, int height) const {
    const std::uint32_t values[] = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
    xcb_configure_window(m_connection, window.number, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    xcb_flush(m_connection);
}

void Screen::focus(const Window &window) const {
    xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_PARENT, window.number, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
}

QImage Screen::picture(const Extents &extents) const {
    const auto cookie =
        xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, static_cast<std::int16_t>(extents.x),
                      static_cast<std::int16_t>(extents.y), static_cast<std::uint16_t>(extents.width),
                      static_cast<std::uint16_t>(extents.height), ~0U);
    const auto reply = owned(xcb_get_image_reply(m_connection, cookie, nullptr));
    if (!reply)
        return {};
    return QImage(xcb_get_image_data(reply.get()), extents.width, extents.height, QImage::Format_RGB32)
        .copy();
}

std::uint32_t Screen::pixel(int x, int y) const {
    const QImage image = picture({x, y, 1, 1});
    return image.isNull() ? 0 : image.pixel(0, 0) & 0xFFFFFFU;
}

} // namespace test_support
