#include "ui/qt/ZQDialogUnits.h"

#include <QFontMetrics>

namespace {

/// value * numerator / denominator, rounded half away from zero.
LONG MulDiv(LONG value, LONG numerator, LONG denominator) {
    const long long product = static_cast<long long>(value) * numerator;
    const long long half = denominator / 2;
    return static_cast<LONG>(product >= 0 ? (product + half) / denominator : (product - half) / denominator);
}

}  // namespace

QSize ZQDialogBaseUnits(const QFont& font) {
    const QFontMetrics metrics(font);
    const int letters = metrics.horizontalAdvance(QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"));
    // Half of the width of 26 letters, rounded up: the average over 52.
    return QSize((letters / 26 + 1) / 2, metrics.height());
}

RECT ZQMapDialogRect(const QFont& font, const RECT& rect) {
    const QSize base = ZQDialogBaseUnits(font);
    return {MulDiv(rect.left, base.width(), 4), MulDiv(rect.top, base.height(), 8),
            MulDiv(rect.right, base.width(), 4), MulDiv(rect.bottom, base.height(), 8)};
}

QSize ZQDialogUnitsToPixels(const QFont& font, int width, int height) {
    const RECT pixels = ZQMapDialogRect(font, {0, 0, width, height});
    return QSize(pixels.right, pixels.bottom);
}
