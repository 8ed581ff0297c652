// Which encoding the module read a SubRip file in, told from what it read.
#pragma once

#include <string>
#include <vector>

#include "zqplatform/types.h"

/// An encoding as the command line names it.
struct FileEncoding {
    /// "UTF-8", "UTF-16 LE", "UTF-16 BE", "7-bit text", "code page" or
    /// "undetermined".
    std::string name;
    /// The Windows code page for "code page", else 0.
    UINT codePage = 0;
};

/// Names the encoding in which the module decoded `bytes` (a whole SubRip
/// file) into the cues whose UTF-8 texts are `cueTexts`. The module's own
/// detection isn't repeated here: the answer is the decoding of the file's
/// bytes that reproduces every line of those texts, tried in this order: the
/// encoding a byte-order mark announces, 7-bit text, UTF-8, the code page
/// `languageCodePage` (0 for none), then the other Windows code pages. Texts
/// that more than one decoding reproduces get the first of them, which is
/// why the language's code page goes first among the code pages.
/// "undetermined" when no cue text has a line, or no decoding fits.
FileEncoding FindFileEncoding(const std::string& bytes, const std::vector<std::string>& cueTexts,
                              UINT languageCodePage);
