// Dialog units, the measure of the page's and the dialog's templates, in
// pixels of a font, so that both windows follow the user's font.
#pragma once

#include <QFont>
#include <QSize>

#include "zqplatform/types.h"

/// The font's dialog base units: its average character width over the
/// letters A-Z and a-z, and its height, in pixels.
QSize ZQDialogBaseUnits(const QFont& font);

/// `rect` in dialog units to pixels of `font`, rounded to the nearest pixel:
/// a quarter of the base width across, an eighth of the base height down.
RECT ZQMapDialogRect(const QFont& font, const RECT& rect);

/// A size in dialog units to pixels of `font`.
QSize ZQDialogUnitsToPixels(const QFont& font, int width, int height);
