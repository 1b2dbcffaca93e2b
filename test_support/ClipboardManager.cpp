#include "test_support/ClipboardManager.h"

#include "test_support/Xcb.h"

#include <poll.h>

namespace test_support {

namespace {

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
