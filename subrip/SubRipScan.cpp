#include "subrip/SubRipScan.h"

#include "subrip/ByteRuns.h"

std::u16string_view ZQTrimLine(std::u16string_view line) noexcept {
    line = line.substr(0, ZQFindNulUnit(line.data(), line.size()));
    size_t end = line.size();
    while (end > 0 && ZQIsSpaceInline(line[end - 1]))
        --end;
    size_t start = 0;
    while (start < end && ZQIsSpaceInline(line[start]))
        ++start;
    return line.substr(start, end - start);
}
