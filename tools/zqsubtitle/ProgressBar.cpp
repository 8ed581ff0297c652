#include "tools/zqsubtitle/ProgressBar.h"

#include <algorithm>
#include <cstdio>

#include "zqplatform/fileapi.h"

namespace {

constexpr int kBarWidth = 30;

}  // namespace

ProgressBar::ProgressBar(std::string label, bool silenced)
    : m_label(std::move(label)), m_drawn(!silenced && ZQIsTerminal(STD_ERROR_HANDLE)) {}

ProgressBar::~ProgressBar() {
    Finish();
}

void ProgressBar::Show(double fraction) {
    const int percent = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * 100.0);
    if (!m_drawn || percent == m_shownPercent)
        return;
    m_shownPercent = percent;
    const int filled = percent * kBarWidth / 100;
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(kBarWidth - filled), '.');
    std::fprintf(stderr, "\r%s [%s] %3d%%", m_label.c_str(), bar.c_str(), percent);
    std::fflush(stderr);
    m_visible = true;
}

void ProgressBar::Finish() {
    if (!m_visible)
        return;
    // Blank the line and go back to its start.
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_label.size()) + kBarWidth + 8, "");
    std::fflush(stderr);
    m_visible = false;
}
