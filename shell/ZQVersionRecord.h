// The module's version record: the names and numbers a file of the module
// carries about itself.
#pragma once

/// The version record, for tools that report on the module (the module
/// itself carries it in its ".zqversion" section, see ZQVersionRecord.cpp).
struct ZQVersionRecord {
    const char* m_fileVersion;
    const char* m_productVersion;
    const char* m_comments;
    const char* m_fileDescription;
    const char* m_productName;
    const char* m_internalName;
    const char* m_originalFilename;
};

inline constexpr ZQVersionRecord kZQVersionRecord = {
    "1.0.0.481",
    "1.0.0.481",
    "Kestrix Subtitle Library",
    "Kestrix Subtitle Library",
    "Kestrix Subtitle Library",
    "ZQSUBTITLE",
    "ZQSUBTITLE.DLL",
};
