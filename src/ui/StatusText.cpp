#include "ui/StatusText.h"

#include "platform/MainQueue.h"

StatusText::StatusText(std::function<void(const QString &)> show) : m_show(std::move(show)) {
}

void StatusText::note(const QString &text) {
    const std::lock_guard lock(m_mutex);
    m_text = text;
}

void StatusText::close() {
    m_show = nullptr;
}

TextBinding StatusText::binding() {
    return {
        .get = [self = shared_from_this()] { return self->text(); },
        .set = [self = shared_from_this()](const QString &text) { self->setText(text); },
    };
}

QString StatusText::text() const {
    const std::lock_guard lock(m_mutex);
    return m_text;
}

void StatusText::setText(const QString &text) {
    note(text);
    platform::onMainQueue([self = shared_from_this(), text] {
        if (self->m_show)
            self->m_show(text);
    });
}
