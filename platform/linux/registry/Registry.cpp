// The registry's functions: handles, the three views (user, machine and the
// merged classes) and where the hive files live.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "registry/RegistryHiveFile.h"
#include "zqplatform/registry.h"

#ifndef ZQ_INSTALL_PREFIX
#define ZQ_INSTALL_PREFIX "/usr/local"
#endif

namespace {

using zqplatform::RegistryHiveFile;
using zqplatform::RegistryNode;
using zqplatform::RegistryValue;
using Path = std::vector<std::u16string>;

constexpr const char* kRootVariable = "ZQPLATFORM_REGISTRY_ROOT";
constexpr const char* kMachineHiveFile = ZQ_INSTALL_PREFIX "/var/lib/ZQPlatform/machine.reg";

enum class View { User, Machine, Classes };

/// What an opened HKEY stands for: a view and the path below its root. The
/// key is found again by path on every call, so that changes by other
/// processes are seen and a deleted key is noticed.
struct OpenKey {
    View m_view;
    Path m_path;
};

/// Guards g_hives and g_handles, and every call into a hive.
std::mutex g_lock;
std::unordered_map<std::string, std::unique_ptr<RegistryHiveFile>> g_hives;
std::set<OpenKey*> g_handles;

/// Whether this copy of the runtime was loaded from below the install prefix,
/// that is, is the installed one rather than a build tree's.
bool RuntimeIsInstalled() {
    static const bool installed = [] {
        Dl_info info{};
        if (::dladdr(reinterpret_cast<void*>(&RuntimeIsInstalled), &info) == 0 || info.dli_fname == nullptr)
            return false;
        char library[PATH_MAX];
        char prefix[PATH_MAX];
        if (::realpath(info.dli_fname, library) == nullptr || ::realpath(ZQ_INSTALL_PREFIX, prefix) == nullptr)
            return false;
        std::string root = std::string(prefix) == "/" ? "/" : std::string(prefix) + "/";
        return std::string(library).starts_with(root);
    }();
    return installed;
}

struct HivePaths {
    std::string m_user;
    std::string m_machine;
    bool m_machineWritable = false;
};

HivePaths CurrentHivePaths() {
    HivePaths paths;
    const char* root = std::getenv(kRootVariable);
    if (root != nullptr && root[0] != 0) {
        paths.m_user = std::string(root) + "/user.reg";
        paths.m_machine = std::string(root) + "/machine.reg";
        paths.m_machineWritable = true;
        return paths;
    }
    // A relative XDG_DATA_HOME is to be ignored, as the base directory rules say.
    const char* data = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (data != nullptr && data[0] == '/')
        paths.m_user = std::string(data) + "/ZQPlatform/user.reg";
    else if (home != nullptr && home[0] == '/')
        paths.m_user = std::string(home) + "/.local/share/ZQPlatform/user.reg";
    paths.m_machine = kMachineHiveFile;
    paths.m_machineWritable = RuntimeIsInstalled();
    return paths;
}

/// The two hives of the present paths and whether the machine's may change.
/// Called with g_lock held.
struct Hives {
    RegistryHiveFile* m_user = nullptr;
    RegistryHiveFile* m_machine = nullptr;
    bool m_machineWritable = false;
};

RegistryHiveFile* HiveAt(const std::string& path) {
    if (path.empty())
        return nullptr;
    std::unique_ptr<RegistryHiveFile>& hive = g_hives[path];
    if (!hive)
        hive = std::make_unique<RegistryHiveFile>(path);
    return hive.get();
}

Hives CurrentHives() {
    HivePaths paths = CurrentHivePaths();
    return {HiveAt(paths.m_user), HiveAt(paths.m_machine), paths.m_machineWritable};
}

/// One place in one hive: the hive and the path from its root.
struct Location {
    RegistryHiveFile* m_hive = nullptr;
    Path m_path;
    bool m_writable = true;
};

Path ClassesPath(const Path& path) {
    Path full{u"Software", u"Classes"};
    full.insert(full.end(), path.begin(), path.end());
    return full;
}

/// Whether `path` exists in `hive`, read fresh; a hive that can't be read
/// counts as not having it.
bool Exists(RegistryHiveFile* hive, const Path& path) {
    return hive != nullptr && hive->Refresh() == ERROR_SUCCESS && hive->Root().Find(path) != nullptr;
}

/// Where `view`/`path` lives: the user's or the machine's hive. The classes
/// view answers the user's hive when it has the key, else the machine's.
Location Locate(View view, const Path& path) {
    Hives hives = CurrentHives();
    switch (view) {
    case View::User:
        return {hives.m_user, path, true};
    case View::Machine:
        return {hives.m_machine, path, hives.m_machineWritable};
    case View::Classes:
        break;
    }
    Path full = ClassesPath(path);
    if (Exists(hives.m_user, full))
        return {hives.m_user, full, true};
    return {hives.m_machine, full, hives.m_machineWritable};
}

/// The key `handle` names, or null for an unknown handle.
bool Resolve(HKEY handle, View& view, Path& path) {
    if (handle == HKEY_CLASSES_ROOT || handle == HKEY_CURRENT_USER || handle == HKEY_LOCAL_MACHINE) {
        view = handle == HKEY_CLASSES_ROOT ? View::Classes
               : handle == HKEY_CURRENT_USER ? View::User
                                             : View::Machine;
        path.clear();
        return true;
    }
    auto* key = reinterpret_cast<OpenKey*>(handle);
    if (g_handles.count(key) == 0)
        return false;
    view = key->m_view;
    path = key->m_path;
    return true;
}

/// Reads the node at `location`; ERROR_SUCCESS with a null node if missing.
LONG ReadNode(const Location& location, const RegistryNode*& node) {
    node = nullptr;
    if (location.m_hive == nullptr)
        return ERROR_SUCCESS;
    LONG error = location.m_hive->Refresh();
    if (error != ERROR_SUCCESS)
        return error;
    node = location.m_hive->Root().Find(location.m_path);
    return ERROR_SUCCESS;
}

LONG Change(const Location& location, const std::function<LONG(RegistryNode&)>& change) {
    if (location.m_hive == nullptr)
        return ERROR_PATH_NOT_FOUND;
    if (!location.m_writable)
        return ERROR_ACCESS_DENIED;
    return location.m_hive->Modify(change);
}

HKEY NewHandle(View view, Path path) {
    auto* key = new OpenKey{view, std::move(path)};
    g_handles.insert(key);
    return reinterpret_cast<HKEY>(key);
}

/// Runs a registry function's body with the lock held and no exception
/// escaping.
template <class Body>
LSTATUS Guarded(Body&& body) noexcept {
    try {
        std::lock_guard<std::mutex> hold(g_lock);
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_INVALID_FUNCTION;
    }
}

/// Opens the base key and the sub path: the view and the full path, or an error.
LONG Target(HKEY key, const WCHAR* subKey, View& view, Path& path) {
    Path parts;
    if (!Resolve(key, view, path))
        return ERROR_INVALID_HANDLE;
    if (!zqplatform::SplitRegistryPath(subKey, parts))
        return ERROR_INVALID_PARAMETER;
    path.insert(path.end(), parts.begin(), parts.end());
    return ERROR_SUCCESS;
}

/// Target, then the key there: where it lives, and its node or null when it
/// doesn't exist.
LONG ReadTarget(HKEY key, const WCHAR* subKey, View& view, Path& path, Location& location,
                const RegistryNode*& node) {
    node = nullptr;
    LONG error = Target(key, subKey, view, path);
    if (error != ERROR_SUCCESS)
        return error;
    location = Locate(view, path);
    return ReadNode(location, node);
}

bool IsPredefined(HKEY key) {
    return key == HKEY_CLASSES_ROOT || key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE;
}

/// The existing key of `key` itself: its location, or ERROR_KEY_DELETED.
LONG ExistingKey(HKEY key, Location& location, const RegistryNode*& node) {
    View view;
    Path path;
    if (!Resolve(key, view, path))
        return ERROR_INVALID_HANDLE;
    location = Locate(view, path);
    LONG error = ReadNode(location, node);
    if (error != ERROR_SUCCESS)
        return error;
    if (node == nullptr && !IsPredefined(key))
        return ERROR_KEY_DELETED;
    return ERROR_SUCCESS;
}

std::u16string NameOf(const WCHAR* name) {
    return name == nullptr ? std::u16string() : std::u16string(name);
}

}  // namespace

extern "C" {

LSTATUS RegCreateKeyExW(HKEY key, const WCHAR* subKey, DWORD /*reserved*/, WCHAR* /*keyClass*/, DWORD /*options*/,
                        REGSAM /*access*/, const void* /*securityAttributes*/, PHKEY result, DWORD* disposition) {
    if (result == nullptr)
        return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    return Guarded([&]() -> LONG {
        View view;
        Path path;
        Location location;
        const RegistryNode* node = nullptr;
        LONG error = ReadTarget(key, subKey, view, path, location, node);
        if (error != ERROR_SUCCESS)
            return error;
        bool created = false;
        if (node == nullptr) {
            // A key deleted since it was opened can't take new subkeys.
            Location base;
            const RegistryNode* baseNode = nullptr;
            error = ExistingKey(key, base, baseNode);
            if (error != ERROR_SUCCESS)
                return error;
            error = Change(location, [&](RegistryNode& root) -> LONG {
                root.Create(location.m_path, &created);
                return ERROR_SUCCESS;
            });
            if (error != ERROR_SUCCESS)
                return error;
        }
        if (disposition != nullptr)
            *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        *result = NewHandle(view, std::move(path));
        return ERROR_SUCCESS;
    });
}

LSTATUS RegOpenKeyExW(HKEY key, const WCHAR* subKey, DWORD /*options*/, REGSAM /*access*/, PHKEY result) {
    if (result == nullptr)
        return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    return Guarded([&]() -> LONG {
        View view;
        Path path;
        Location location;
        const RegistryNode* node = nullptr;
        LONG error = ReadTarget(key, subKey, view, path, location, node);
        if (error != ERROR_SUCCESS)
            return error;
        if (node == nullptr && !(IsPredefined(key) && path.empty()))
            return ERROR_FILE_NOT_FOUND;
        *result = NewHandle(view, std::move(path));
        return ERROR_SUCCESS;
    });
}

LSTATUS RegCloseKey(HKEY key) {
    if (IsPredefined(key))
        return ERROR_SUCCESS;
    return Guarded([&]() -> LONG {
        auto* open = reinterpret_cast<OpenKey*>(key);
        if (g_handles.erase(open) == 0)
            return ERROR_INVALID_HANDLE;
        delete open;
        return ERROR_SUCCESS;
    });
}

LSTATUS RegSetValueExW(HKEY key, const WCHAR* name, DWORD /*reserved*/, DWORD type, const BYTE* data, DWORD size) {
    if (data == nullptr && size != 0)
        return ERROR_INVALID_PARAMETER;
    return Guarded([&]() -> LONG {
        Location location;
        const RegistryNode* node = nullptr;
        LONG error = ExistingKey(key, location, node);
        if (error != ERROR_SUCCESS)
            return error;
        RegistryValue value{NameOf(name), type, std::vector<BYTE>(data, data + size)};
        return Change(location, [&](RegistryNode& root) -> LONG {
            RegistryNode* target = root.Find(location.m_path);
            if (target == nullptr && location.m_path.empty())
                target = &root;
            if (target == nullptr)
                return ERROR_KEY_DELETED;
            target->SetValue(std::move(value));
            return ERROR_SUCCESS;
        });
    });
}

LSTATUS RegQueryValueExW(HKEY key, const WCHAR* name, DWORD* /*reserved*/, DWORD* type, BYTE* data, DWORD* size) {
    if (data != nullptr && size == nullptr)
        return ERROR_INVALID_PARAMETER;
    return Guarded([&]() -> LONG {
        Location location;
        const RegistryNode* node = nullptr;
        LONG error = ExistingKey(key, location, node);
        if (error != ERROR_SUCCESS)
            return error;
        const RegistryValue* value = node != nullptr ? node->FindValue(NameOf(name)) : nullptr;
        if (value == nullptr)
            return ERROR_FILE_NOT_FOUND;
        if (type != nullptr)
            *type = value->m_type;
        if (size == nullptr)
            return ERROR_SUCCESS;
        DWORD capacity = *size;
        *size = static_cast<DWORD>(value->m_data.size());
        if (data == nullptr)
            return ERROR_SUCCESS;
        if (capacity < value->m_data.size())
            return ERROR_MORE_DATA;
        std::copy(value->m_data.begin(), value->m_data.end(), data);
        return ERROR_SUCCESS;
    });
}

LSTATUS RegDeleteValueW(HKEY key, const WCHAR* name) {
    return Guarded([&]() -> LONG {
        Location location;
        const RegistryNode* node = nullptr;
        LONG error = ExistingKey(key, location, node);
        if (error != ERROR_SUCCESS)
            return error;
        if (node == nullptr || node->FindValue(NameOf(name)) == nullptr)
            return ERROR_FILE_NOT_FOUND;
        return Change(location, [&](RegistryNode& root) -> LONG {
            RegistryNode* target = root.Find(location.m_path);
            return target != nullptr && target->RemoveValue(NameOf(name)) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
        });
    });
}

LSTATUS RegDeleteKeyW(HKEY key, const WCHAR* subKey) {
    if (subKey == nullptr || subKey[0] == 0)
        return ERROR_INVALID_PARAMETER;
    return Guarded([&]() -> LONG {
        View view;
        Path path;
        Location location;
        const RegistryNode* node = nullptr;
        LONG error = ReadTarget(key, subKey, view, path, location, node);
        if (error != ERROR_SUCCESS)
            return error;
        if (node == nullptr)
            return ERROR_FILE_NOT_FOUND;
        if (node->HasChildren())
            return ERROR_ACCESS_DENIED;
        return Change(location, [&](RegistryNode& root) -> LONG {
            Path parentPath(location.m_path.begin(), location.m_path.end() - 1);
            RegistryNode* parent = root.Find(parentPath);
            RegistryNode* target = root.Find(location.m_path);
            if (parent == nullptr || target == nullptr)
                return ERROR_FILE_NOT_FOUND;
            if (target->HasChildren())
                return ERROR_ACCESS_DENIED;
            parent->RemoveChild(location.m_path.back());
            return ERROR_SUCCESS;
        });
    });
}

LSTATUS RegDeleteTreeW(HKEY key, const WCHAR* subKey) {
    return Guarded([&]() -> LONG {
        View view;
        Path path;
        Location location;
        const RegistryNode* node = nullptr;
        LONG error = ReadTarget(key, subKey, view, path, location, node);
        if (error != ERROR_SUCCESS)
            return error;
        bool keepKey = subKey == nullptr || subKey[0] == 0;
        if (node == nullptr)
            return keepKey && IsPredefined(key) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
        return Change(location, [&](RegistryNode& root) -> LONG {
            RegistryNode* target = root.Find(location.m_path);
            if (target == nullptr)
                return ERROR_FILE_NOT_FOUND;
            if (keepKey || location.m_path.empty()) {
                target->Clear();
                return ERROR_SUCCESS;
            }
            Path parentPath(location.m_path.begin(), location.m_path.end() - 1);
            root.Find(parentPath)->RemoveChild(location.m_path.back());
            return ERROR_SUCCESS;
        });
    });
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, WCHAR* name, DWORD* nameLength, DWORD* /*reserved*/,
                      WCHAR* /*keyClass*/, DWORD* keyClassLength, FILETIME* /*lastWriteTime*/) {
    if (name == nullptr || nameLength == nullptr)
        return ERROR_INVALID_PARAMETER;
    if (keyClassLength != nullptr)
        *keyClassLength = 0;
    return Guarded([&]() -> LONG {
        View view;
        Path path;
        if (!Resolve(key, view, path))
            return ERROR_INVALID_HANDLE;
        // Subkeys of every hive the view covers, each name once, the user's
        // spelling first.
        std::map<std::u16string, std::u16string> names;
        std::vector<Location> locations;
        Hives hives = CurrentHives();
        if (view == View::Classes) {
            locations.push_back({hives.m_user, ClassesPath(path)});
            locations.push_back({hives.m_machine, ClassesPath(path)});
        } else {
            locations.push_back(Locate(view, path));
        }
        bool found = IsPredefined(key);
        for (const Location& location : locations) {
            const RegistryNode* node = nullptr;
            LONG error = ReadNode(location, node);
            if (error != ERROR_SUCCESS)
                return error;
            if (node == nullptr)
                continue;
            found = true;
            for (const RegistryNode* child : node->Children())
                names.emplace(zqplatform::FoldRegistryName(child->Name()), child->Name());
        }
        if (!found)
            return ERROR_KEY_DELETED;
        if (index >= names.size())
            return ERROR_NO_MORE_ITEMS;
        auto it = std::next(names.begin(), index);
        const std::u16string& text = it->second;
        if (text.size() + 1 > *nameLength)
            return ERROR_MORE_DATA;
        text.copy(name, text.size());
        name[text.size()] = 0;
        *nameLength = static_cast<DWORD>(text.size());
        return ERROR_SUCCESS;
    });
}

}  // extern "C"
