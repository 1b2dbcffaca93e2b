#include "test_support/Portal.h"

namespace test_support {

namespace {

constexpr char path[] = "/org/freedesktop/portal/desktop";
constexpr char settings[] = "org.freedesktop.portal.Settings";

} // namespace

Portal::Portal(const PrivateBus &bus, ColorScheme colorScheme)
    : m_colorScheme(colorScheme)
    , m_object(bus.address(), "org.freedesktop.portal.Desktop", path,
               [this](sd_bus_message *call) { return answer(call); }) {}

void Portal::change(ColorScheme colorScheme) {
    m_colorScheme = colorScheme;
    m_object.perform([colorScheme](sd_bus *connection) {
        sd_bus_emit_signal(connection, path, settings, "SettingChanged", "ssv", "org.freedesktop.appearance",
                           "color-scheme", "u", static_cast<std::uint32_t>(colorScheme));
    });
}

bool Portal::answer(sd_bus_message *call) const {
    return sd_bus_message_is_method_call(call, settings, "Read") > 0 &&
           sd_bus_reply_method_return(call, "v", "v", "u",
                                      static_cast<std::uint32_t>(m_colorScheme.load())) >= 0;
}

} // namespace test_support
