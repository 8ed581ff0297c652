#include "support/trace/CTracerLink.h"

#include <cstdint>

#include "support/trace/CBuffer.h"
#include "support/trace/CSharedTracer.h"
#include "support/trace/Trace.h"
#include "zqplatform/debugapi.h"
#include "zqplatform/fileapi.h"
#include "zqplatform/memoryapi.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

/// The record that the copies of the code in a process share. A pointer is
/// 8 bytes here, so the record is 16 bytes where a 32-bit build had 8.
struct TracerRecord {
    CSharedTracer* tracer;  // valid within the process; null if there is none
    int32_t spin;           // a lock word: 1 while a copy works on the record
};

constexpr DWORD kSpinStepMs = 10;
constexpr ULONGLONG kDetachSpinLimitMs = 1000;

bool TryTakeSpin(TracerRecord* record) {
    std::atomic_ref<int32_t> spin(record->spin);
    if (spin.fetch_add(1, std::memory_order_acquire) + 1 > 1) {
        spin.fetch_sub(1, std::memory_order_relaxed);
        return false;
    }
    return true;
}

void TakeSpin(TracerRecord* record) {
    while (!TryTakeSpin(record))
        Sleep(kSpinStepMs);
}

bool TakeSpinFor(TracerRecord* record, ULONGLONG limitMs) {
    ULONGLONG start = GetTickCount64();
    while (!TryTakeSpin(record)) {
        if (GetTickCount64() - start >= limitMs)
            return false;
        Sleep(kSpinStepMs);
    }
    return true;
}

void ReleaseSpin(TracerRecord* record) {
    std::atomic_ref<int32_t>(record->spin).fetch_sub(1, std::memory_order_release);
}

std::atomic_ref<CSharedTracer*> TracerOf(TracerRecord* record) {
    return std::atomic_ref<CSharedTracer*>(record->tracer);
}

/// Appends the UTF-8 form of a wide path; a lone surrogate becomes U+FFFD.
void AppendUtf8(CBuffer& out, const WCHAR* path) {
    for (size_t i = 0; path[i] != 0; ++i) {
        char32_t c = path[i];
        if (c >= 0xD800 && c <= 0xDBFF && path[i + 1] >= 0xDC00 && path[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (path[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        char bytes[4];
        LONG count = 1;
        if (c < 0x80) {
            bytes[0] = static_cast<char>(c);
        } else if (c < 0x800) {
            bytes[0] = static_cast<char>(0xC0 | (c >> 6));
            bytes[1] = static_cast<char>(0x80 | (c & 0x3F));
            count = 2;
        } else if (c < 0x10000) {
            bytes[0] = static_cast<char>(0xE0 | (c >> 12));
            bytes[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes[2] = static_cast<char>(0x80 | (c & 0x3F));
            count = 3;
        } else {
            bytes[0] = static_cast<char>(0xF0 | (c >> 18));
            bytes[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            bytes[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes[3] = static_cast<char>(0x80 | (c & 0x3F));
            count = 4;
        }
        out.Append(bytes, count);
    }
}

/// "%08X.%d.%s" of the process id, the number and the path, with every
/// backslash a slash: private to the process and to the trace file.
bool MakeRecordName(CBuffer& name, const WCHAR* path, int number) {
    CBuffer utf8Path;
    AppendUtf8(utf8Path, path);
    if (FAILED(utf8Path.Append("", 1)))
        return false;
    if (FAILED(name.Format("%08X.%d.%s", GetCurrentProcessId(), number,
                           reinterpret_cast<const char*>(utf8Path.Data()))))
        return false;
    for (LONG i = 0; i < name.Size(); ++i)
        if (name.Data()[i] == '\\')
            name.Data()[i] = '/';
    return true;
}

}  // namespace

CTracerLink::~CTracerLink() {
    m_Exiting.store(true, std::memory_order_release);
    Detach();
}

CSharedTracer* CTracerLink::Attach(const WCHAR* path, int number) noexcept {
    if (CSharedTracer* tracer = m_Tracer.load(std::memory_order_acquire))
        return tracer;
    if (m_Exiting.load(std::memory_order_acquire) || path == nullptr)
        return nullptr;
    CTraceLock::CAutoLock lock(m_Lock);
    if (CSharedTracer* tracer = m_Tracer.load(std::memory_order_acquire))
        return tracer;
    if (m_Exiting.load(std::memory_order_acquire))
        return nullptr;

    CBuffer name;
    if (!MakeRecordName(name, path, number))
        return nullptr;
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(TracerRecord),
                                        reinterpret_cast<const char*>(name.Data()));
    if (mapping == nullptr)
        return nullptr;
    auto* record = static_cast<TracerRecord*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(TracerRecord)));
    if (record == nullptr) {
        CloseHandle(mapping);
        return nullptr;
    }

    TakeSpin(record);
    CSharedTracer* tracer = TracerOf(record).load(std::memory_order_acquire);
    if (tracer == nullptr) {
        tracer = CSharedTracer::Create();
        TracerOf(record).store(tracer, std::memory_order_release);
    }
    if (tracer != nullptr)
        tracer->AddUse();
    ReleaseSpin(record);
    UnmapViewOfFile(record);

    // Without a tracer there is nothing to keep the record alive for.
    if (tracer == nullptr) {
        CloseHandle(mapping);
        return nullptr;
    }
    m_Mapping = mapping;
    m_Tracer.store(tracer, std::memory_order_release);
    return tracer;
}

void CTracerLink::Detach() noexcept {
    CTraceLock::CAutoLock lock(m_Lock);
    CSharedTracer* tracer = m_Tracer.load(std::memory_order_acquire);
    if (tracer == nullptr)
        return;
    auto* record = static_cast<TracerRecord*>(MapViewOfFile(m_Mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(TracerRecord)));
    // Another copy that holds the record past the limit is taken to be
    // stuck: going on without the spin word beats hanging the exit.
    bool spinning = record != nullptr && TakeSpinFor(record, kDetachSpinLimitMs);
    if (tracer->Release() == 0 && record != nullptr)
        TracerOf(record).store(nullptr, std::memory_order_release);
    if (spinning)
        ReleaseSpin(record);
    if (record != nullptr)
        UnmapViewOfFile(record);
    CloseHandle(m_Mapping);
    m_Mapping = nullptr;
    m_Tracer.store(nullptr, std::memory_order_release);
}
