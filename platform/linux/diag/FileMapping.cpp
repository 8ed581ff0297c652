// Named records of memory without a file, private to the process.
//
// The trace log's copies of code (one per shared object that contains it)
// must find one record by a name. Two ways were open on Linux: a POSIX shared
// memory object (shm_open + mmap), or a registry of names kept inside this
// library. The registry is chosen: every copy of the trace code links against
// this one libZQPlatform, so it is process-wide by construction; a record
// dies with the process and can't outlive a crash in /dev/shm, where a later
// process that happened to get the same id would find a stale pointer; names
// have no length limit and no character rules; and no file descriptor is
// spent per record. What it can't do, reaching across processes, the trace
// log never asks for: its names carry the process id anyway.
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

#include "kernel/KernelObject.h"
#include "zqplatform/memoryapi.h"
#include "zqplatform/status.h"

namespace zqplatform {

namespace {

constexpr auto kMappingKind = static_cast<KernelObject::Kind>(0x101);

/// The memory of one record, counted by its handles and its views. Only the
/// registry changes the counts, under its lock.
struct Section {
    std::string name;  // empty for an unnamed record
    void* memory = nullptr;
    size_t size = 0;
    size_t users = 0;
};

/// Every live record by name and every view by address. Created once and
/// never destroyed, so that static objects ended after this library's own
/// (those of modules unloaded at exit) can still close their handles.
class SectionRegistry {
public:
    static SectionRegistry& Instance() {
        static auto* registry = new SectionRegistry;
        return *registry;
    }

    /// Finds or makes the record of a name; null when memory runs out.
    Section* Acquire(const char* name, size_t size, bool& existed) {
        std::lock_guard lock(m_mutex);
        existed = false;
        if (name != nullptr && name[0] != 0) {
            auto found = m_byName.find(name);
            if (found != m_byName.end()) {
                existed = true;
                ++found->second->users;
                return found->second;
            }
        }
        return MakeLocked(name, size);
    }

    void ReleaseUser(Section* section) {
        std::lock_guard lock(m_mutex);
        ReleaseLocked(section);
    }

    void* AddView(Section* section) {
        std::lock_guard lock(m_mutex);
        ++section->users;
        ++m_views[section->memory].second;
        m_views[section->memory].first = section;
        return section->memory;
    }

    bool RemoveView(const void* view) {
        std::lock_guard lock(m_mutex);
        auto found = m_views.find(view);
        if (found == m_views.end())
            return false;
        Section* section = found->second.first;
        if (--found->second.second == 0)
            m_views.erase(found);
        ReleaseLocked(section);
        return true;
    }

private:
    Section* MakeLocked(const char* name, size_t size) {
        // Aligned for any scalar, so that atomics can be placed in a record.
        void* memory = std::aligned_alloc(alignof(std::max_align_t), RoundUp(size));
        auto* section = memory != nullptr ? new (std::nothrow) Section : nullptr;
        if (section == nullptr) {
            std::free(memory);
            return nullptr;
        }
        std::memset(memory, 0, RoundUp(size));
        section->memory = memory;
        section->size = size;
        section->users = 1;
        if (name != nullptr && name[0] != 0) {
            section->name = name;
            m_byName.emplace(section->name, section);
        }
        return section;
    }

    void ReleaseLocked(Section* section) {
        if (--section->users != 0)
            return;
        if (!section->name.empty())
            m_byName.erase(section->name);
        std::free(section->memory);
        delete section;
    }

    static size_t RoundUp(size_t size) {
        size_t unit = alignof(std::max_align_t);
        return size == 0 ? unit : (size + unit - 1) / unit * unit;
    }

    std::mutex m_mutex;  // guards both maps and every Section's users
    std::unordered_map<std::string, Section*> m_byName;
    std::unordered_map<const void*, std::pair<Section*, size_t>> m_views;  // address -> record, view count
};

/// One handle of a record; closing it drops the handle's use of the record.
class MappingObject final : public KernelObject {
public:
    explicit MappingObject(Section* section) noexcept : KernelObject(kMappingKind, true, true), m_section(section) {}
    ~MappingObject() override { SectionRegistry::Instance().ReleaseUser(m_section); }

    static MappingObject* FromHandle(HANDLE handle) noexcept {
        auto* mapping = dynamic_cast<MappingObject*>(KernelObject::FromHandle(handle));
        if (mapping == nullptr)
            SetLastError(ERROR_INVALID_HANDLE);
        return mapping;
    }

    Section* GetSection() const noexcept { return m_section; }

private:
    Section* const m_section;  // one use, dropped by the destructor
};

}  // namespace

}  // namespace zqplatform

using zqplatform::MappingObject;
using zqplatform::Section;
using zqplatform::SectionRegistry;

extern "C" {

HANDLE CreateFileMappingA(HANDLE file, void* /*securityAttributes*/, DWORD /*protect*/, DWORD maximumSizeHigh,
                          DWORD maximumSizeLow, const char* name) {
    if (file != INVALID_HANDLE_VALUE) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    size_t size = (static_cast<size_t>(maximumSizeHigh) << 32) | maximumSizeLow;
    if (size == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    bool existed = false;
    Section* section = SectionRegistry::Instance().Acquire(name, size, existed);
    if (section == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    auto* mapping = new (std::nothrow) MappingObject(section);
    if (mapping == nullptr) {
        SectionRegistry::Instance().ReleaseUser(section);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return mapping->ToHandle();
}

LPVOID MapViewOfFile(HANDLE handle, DWORD /*desiredAccess*/, DWORD offsetHigh, DWORD offsetLow, size_t bytes) {
    MappingObject* mapping = MappingObject::FromHandle(handle);
    if (mapping == nullptr)
        return nullptr;
    Section* section = mapping->GetSection();
    if (offsetHigh != 0 || offsetLow != 0 || bytes > section->size) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return SectionRegistry::Instance().AddView(section);
}

BOOL UnmapViewOfFile(const void* view) {
    if (!SectionRegistry::Instance().RemoveView(view)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return TRUE;
}

}  // extern "C"
