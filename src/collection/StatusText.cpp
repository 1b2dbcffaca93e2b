#include "collection/StatusText.h"

#include "discovery/MainQueue.h"

StatusText::StatusText(std::function<void(const QString &)> show)
    : m_show(std::move(show)) {}

void StatusText::note(const QString &text) {
    // The window notes every change, also those that come from here.
    if (m_isShowing)
        return;
    const std::lock_guard lock(m_mutex);
    m_text = text;
    m_lastOverruled = m_number;
}

void StatusText::close() {
    m_show = nullptr;
}

TextBinding StatusText::binding() {
    const auto get = [self = shared_from_this()] {
        const std::lock_guard lock(self->m_mutex);
        return self->m_text;
    };
    return {.get = get, .set = [self = shared_from_this()](const QString &text) { self->setText(text); }};
}

void StatusText::setText(const QString &text) {
    std::uint64_t number = 0;
    {
        const std::lock_guard lock(m_mutex);
        m_text = text;
        number = ++m_number;
    }
    onMainQueue([self = shared_from_this(), text, number] { self->show(text, number); });
}

void StatusText::show(const QString &text, std::uint64_t number) {
    if (!m_show || number <= m_lastOverruled)
        return;
    m_isShowing = true;
    m_show(text);
    m_isShowing = false;
}
