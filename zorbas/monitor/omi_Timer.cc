#include "zorbas/monitor/omi_Timer.h"

#include "zorbas/monitor/omi_Time.h"

void omi_Timer::Reset() {
    m_gathered = 0.0;
    m_running = false;
}

void omi_Timer::Start() {
    if (m_running) return;
    m_started = omi_Time::Monotonic();
    m_running = true;
}

void omi_Timer::Stop() {
    if (!m_running) return;
    m_gathered += omi_Time::Monotonic() - m_started;
    m_running = false;
}

double omi_Timer::Elapsed() const {
    return m_running ? m_gathered + (omi_Time::Monotonic() - m_started) : m_gathered;
}
