#include "test_support/Screen.h"

#include "test_support/Isolation.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <xcb/xcb.h>

namespace test_support {

namespace {

// Ends the process when the display cannot be reached.
xcb_connection_t *connectedTo(const std::string &display) {
    xcb_connection_t *const connection = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(connection) != 0) {
        std::fprintf(stderr, "The display %s cannot be reached\n", display.c_str());
        std::abort();
    }
    return connection;
}

xcb_window_t rootOf(xcb_connection_t *connection) {
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
}

template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply *reply) {
    return {reply, &std::free};
}

xcb_atom_t atom(xcb_connection_t *connection, const char *name) {
    const auto length = static_cast<std::uint16_t>(std::strlen(name));
    const auto reply =
        owned(xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, length, name), nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

using Clock = std::chrono::steady_clock;

template <typename Event>
std::optional<Event> nextEvent(xcb_connection_t *connection, int type, std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (Clock::now() < deadline) {
        while (const auto event = owned(xcb_poll_for_event(connection))) {
            if ((event->response_type & 0x7f) == type)
                return *reinterpret_cast<const Event *>(event.get());
        }
        pollfd readable{.fd = xcb_get_file_descriptor(connection), .events = POLLIN, .revents = 0};
        ::poll(&readable, 1, 10);
    }
    return std::nullopt;
}

void tellThatItIsSaved(xcb_connection_t *connection, const xcb_selection_request_event_t &request) {
    xcb_selection_notify_event_t notice{};
    notice.response_type = XCB_SELECTION_NOTIFY;
    notice.time = request.time;
    notice.requestor = request.requestor;
    notice.selection = request.selection;
    notice.target = request.target;
    notice.property = request.property;
    xcb_send_event(connection, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char *>(&notice));
    xcb_flush(connection);
}

} // namespace

Xvfb::Xvfb(DisplaySize size) {
    ProgramOptions options{
        .program = "/usr/bin/Xvfb",
        .arguments = {"-displayfd", "1", "-screen", "0",
                      std::to_string(size.width) + "x" + std::to_string(size.height) + "x24", "-dpi", "96",
                      "-nolisten", "tcp", "-noreset"}};
    // The name of a display is taken by its socket, which all processes of the machine see; its lock file
    // names a process by number, which means another one in another namespace.
    if (hasOwnNamespaces())
        options.arguments.emplace_back("-nolock");
    m_server = std::make_unique<ProgramRun>(options);
    std::string number;
    const bool isUp = waitUntil(
        [&] {
            number = m_server->standardOutput();
            return number.ends_with('\n') || !m_server->isRunning();
        },
        std::chrono::seconds(30));
    if (!isUp || !number.ends_with('\n')) {
        std::fprintf(stderr, "Xvfb does not start: %s\n", m_server->standardError().c_str());
        std::abort();
    }
    number.pop_back();
    m_name = ":" + number;
}

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

ClipboardManager::ClipboardManager(const std::string &display)
    : m_connection(connectedTo(display))
    , m_window(xcb_generate_id(m_connection)) {
    xcb_create_window(m_connection, 0, m_window, rootOf(m_connection), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_set_selection_owner(m_connection, m_window, atom(m_connection, "CLIPBOARD_MANAGER"),
                            XCB_CURRENT_TIME);
    xcb_flush(m_connection);
}

ClipboardManager::~ClipboardManager() {
    xcb_disconnect(m_connection);
}

std::optional<std::string> ClipboardManager::save(std::chrono::milliseconds limit) {
    const auto request = nextEvent<xcb_selection_request_event_t>(m_connection, XCB_SELECTION_REQUEST, limit);
    if (!request || request->target != atom(m_connection, "SAVE_TARGETS"))
        return std::nullopt;
    auto text = convertedText(limit);
    tellThatItIsSaved(m_connection, *request);
    return text;
}

std::optional<std::string> ClipboardManager::convertedText(std::chrono::milliseconds limit) {
    const xcb_atom_t text = atom(m_connection, "UTF8_STRING");
    xcb_convert_selection(m_connection, m_window, atom(m_connection, "CLIPBOARD"), text, text,
                          XCB_CURRENT_TIME);
    xcb_flush(m_connection);
    const auto notice = nextEvent<xcb_selection_notify_event_t>(m_connection, XCB_SELECTION_NOTIFY, limit);
    if (!notice || notice->property == XCB_ATOM_NONE)
        return std::nullopt;
    constexpr std::uint32_t most = 1024;
    const auto value = owned(xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, m_window, text, text, 0, most), nullptr));
    if (!value)
        return std::nullopt;
    return std::string(static_cast<char *>(xcb_get_property_value(value.get())),
                       static_cast<std::size_t>(xcb_get_property_value_length(value.get())));
}

} // namespace test_support
