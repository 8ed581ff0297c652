#include "hosts/ffmpeg/CHostStatus.h"

#include <utility>

extern "C" {
#include <libavutil/error.h>
}

#include "hosts/common/StatusDescription.h"

CHostStatus CHostStatus::Failure(std::string file, std::string reason) {
    CHostStatus status;
    status.m_failed = true;
    status.m_file = std::move(file);
    status.m_reason = std::move(reason);
    return status;
}

CHostStatus CHostStatus::FromAvError(std::string file, const std::string& what, int error) {
    return Failure(std::move(file), what + ": " + AvErrorText(error));
}

CHostStatus CHostStatus::FromStatus(std::string file, const std::string& what, HRESULT hr) {
    return Failure(std::move(file), what + ": " + DescribeStatus(hr));
}

std::string CHostStatus::Message() const {
    if (!m_failed)
        return {};
    return m_file.empty() ? m_reason : m_file + ": " + m_reason;
}

std::string AvErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}
