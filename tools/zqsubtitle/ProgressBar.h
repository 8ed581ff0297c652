// A progress bar on standard error, drawn only on a terminal.
#pragma once

#include <string>

/// Draws "label [#####.....]  42%" on one line of standard error, redrawn
/// in place, when standard error is a terminal and the bar isn't silenced;
/// draws nothing otherwise. Finish ends the line. Owned by a command; one
/// thread.
class ProgressBar {
public:
    ProgressBar(std::string label, bool silenced);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Whether the bar is drawn at all, so that the work may skip what only
    /// the bar needs.
    bool Drawn() const noexcept { return m_drawn; }
    /// Shows `fraction` (0 to 1) of the work as done; redraws only when the
    /// shown percentage changes.
    void Show(double fraction);
    /// Clears the bar's line, so that a message can take it.
    void Finish();

private:
    const std::string m_label;
    const bool m_drawn;
    int m_shownPercent = -1;
    bool m_visible = false;
};
