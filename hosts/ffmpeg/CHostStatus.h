// The outcome of a host's work on files and containers.
#pragma once

#include <string>

#include "zqplatform/types.h"

/// Success, or a failure that names the file it concerns and the reason in
/// words, with the text of the status or of FFmpeg's error code, ready to
/// print. A value; any thread may hold one.
class CHostStatus {
public:
    /// Success.
    CHostStatus() = default;

    static CHostStatus Failure(std::string file, std::string reason);
    /// "WHAT: " and FFmpeg's text of the error code `error` (an AVERROR).
    static CHostStatus FromAvError(std::string file, const std::string& what, int error);
    /// "WHAT: " and the status's name, number and text.
    static CHostStatus FromStatus(std::string file, const std::string& what, HRESULT hr);

    bool Ok() const noexcept { return !m_failed; }
    /// The file the failure concerns; empty when it concerns none.
    const std::string& File() const noexcept { return m_file; }
    const std::string& Reason() const noexcept { return m_reason; }
    /// "FILE: REASON", or the reason alone; empty on success.
    std::string Message() const;

private:
    bool m_failed = false;
    std::string m_file;
    std::string m_reason;
};

/// FFmpeg's text of an AVERROR code, such as "Invalid data found when
/// processing input".
std::string AvErrorText(int error);
