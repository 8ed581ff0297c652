#include "hosts/ffmpeg/FfmpegLog.h"

extern "C" {
#include <libavutil/log.h>
}

void ShowFfmpegErrorsOnly() {
    av_log_set_level(AV_LOG_ERROR);
}
