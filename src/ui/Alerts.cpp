#include "ui/Alerts.h"

void Alerts::present(const QString &title, const QString &message, const QString &buttonTitle) {
    m_waiting.push_back({title, message, buttonTitle});
    if (!m_isUp)
        showFirst();
}

void Alerts::dismiss() {
    m_isUp = false;
    // Whoever watches the change may have presented one more, which put the first of them up.
    if (!m_isUp && !m_waiting.empty())
        showFirst();
}

void Alerts::showFirst() {
    const Alert alert = m_waiting.front();
    m_waiting.pop_front();
    m_title = alert.title;
    m_message = alert.message;
    m_buttonTitle = alert.buttonTitle;
    m_isUp = true;
}
