#include "test_support/Screen.h"

#include "test_support/Isolation.h"

#include <cstdlib>
#include <cstring>
#include <span>
#include <stdexcept>

namespace test_support {

namespace {

template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply *reply) {
    return {reply, &std::free};
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
    m_name = ":" + m_server->waitForFirstLine();
}

DisplayClient::DisplayClient(const std::string &display)
    : m_connection(xcb_connect(display.c_str(), nullptr), &xcb_disconnect) {
    if (xcb_connection_has_error(connection()) != 0)
        throw std::runtime_error("The display " + display + " cannot be reached");
}

xcb_window_t DisplayClient::root() const {
    return xcb_setup_roots_iterator(xcb_get_setup(connection())).data->root;
}

xcb_atom_t DisplayClient::atom(const std::string &name) const {
    const auto cookie =
        xcb_intern_atom(connection(), 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const auto reply = owned(xcb_intern_atom_reply(connection(), cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::string DisplayClient::property(xcb_window_t window, const std::string &name, int format) const {
    constexpr std::uint32_t most = 1024;
    const auto cookie = xcb_get_property(connection(), 0, window, atom(name), XCB_ATOM_ANY, 0, most);
    const auto reply = owned(xcb_get_property_reply(connection(), cookie, nullptr));
    if (!reply || reply->format != format)
        return "";
    return {static_cast<char *>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

std::vector<std::uint32_t> Screen::numbers(xcb_window_t window, const std::string &name) const {
    const std::string bytes = property(window, name, 32);
    std::vector<std::uint32_t> values(bytes.size() / sizeof(std::uint32_t));
    if (!values.empty())
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(std::uint32_t));
    return values;
}

std::vector<Screen::Window> Screen::windows() const {
    std::vector<Window> found;
    const auto tree =
        owned(xcb_query_tree_reply(connection(), xcb_query_tree(connection(), root()), nullptr));
    if (!tree)
        return found;
    const xcb_window_t *const first = xcb_query_tree_children(tree.get());
    for (const xcb_window_t number : std::span(first, tree->children_len)) {
        const auto attributes = owned(xcb_get_window_attributes_reply(
            connection(), xcb_get_window_attributes(connection(), number), nullptr));
        const auto place =
            owned(xcb_get_geometry_reply(connection(), xcb_get_geometry(connection(), number), nullptr));
        const auto process = numbers(number, "_NET_WM_PID");
        if (!attributes || !place || attributes->map_state != XCB_MAP_STATE_VIEWABLE || process.empty())
            continue;
        Window window{.number = number,
                      .process = static_cast<pid_t>(process.front()),
                      .title = property(number, "_NET_WM_NAME", 8),
                      .extents = {place->x, place->y, place->width, place->height},
                      .minimum = {}};
        // ICCCM 4.1.2.3: flags, four unused, minimum width and height.
        if (const auto hints = numbers(number, "WM_NORMAL_HINTS"); hints.size() > 6 && (hints[0] & 16) != 0)
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
    event.type = atom("WM_PROTOCOLS");
    event.data.data32[0] = atom("WM_DELETE_WINDOW");
    event.data.data32[1] = XCB_CURRENT_TIME;
    send(window.number, event);
}

void Screen::resize(const Window &window, int width, int height) const {
    const std::uint32_t values[] = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
    xcb_configure_window(connection(), window.number, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    xcb_flush(connection());
}

void Screen::focus(const Window &window) const {
    xcb_set_input_focus(connection(), XCB_INPUT_FOCUS_PARENT, window.number, XCB_CURRENT_TIME);
    xcb_flush(connection());
}

QImage Screen::picture(const Extents &extents) const {
    const auto cookie =
        xcb_get_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, root(), static_cast<std::int16_t>(extents.x),
                      static_cast<std::int16_t>(extents.y), static_cast<std::uint16_t>(extents.width),
                      static_cast<std::uint16_t>(extents.height), ~0U);
    const auto reply = owned(xcb_get_image_reply(connection(), cookie, nullptr));
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
    : DisplayClient(display)
    , m_window(xcb_generate_id(connection())) {
    xcb_create_window(connection(), 0, m_window, root(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_set_selection_owner(connection(), m_window, atom("CLIPBOARD_MANAGER"), XCB_CURRENT_TIME);
    xcb_flush(connection());
}

template <typename Event>
std::optional<Event> ClipboardManager::nextEvent(int type, std::chrono::milliseconds limit) const {
    std::optional<Event> found;
    waitUntil(
        [&] {
            const auto event = owned(xcb_poll_for_event(connection()));
            if (event && (event->response_type & 0x7f) == type)
                found = *reinterpret_cast<const Event *>(event.get());
            return found.has_value();
        },
        limit);
    return found;
}

std::optional<std::string> ClipboardManager::save(std::chrono::milliseconds limit) {
    const auto request = nextEvent<xcb_selection_request_event_t>(XCB_SELECTION_REQUEST, limit);
    if (!request || request->target != atom("SAVE_TARGETS"))
        return std::nullopt;
    const std::string text = "UTF8_STRING";
    xcb_convert_selection(connection(), m_window, atom("CLIPBOARD"), atom(text), atom(text),
                          XCB_CURRENT_TIME);
    xcb_flush(connection());
    const auto converted = nextEvent<xcb_selection_notify_event_t>(XCB_SELECTION_NOTIFY, limit);
    const bool isText = converted && converted->property != XCB_ATOM_NONE;
    // To the program that asked: its copy is saved.
    xcb_selection_notify_event_t notice{};
    notice.response_type = XCB_SELECTION_NOTIFY;
    notice.time = request->time;
    notice.requestor = request->requestor;
    notice.selection = request->selection;
    notice.target = request->target;
    notice.property = request->property;
    send(request->requestor, notice);
    return isText ? std::optional(property(m_window, text, 8)) : std::nullopt;
}

} // namespace test_support
