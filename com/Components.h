#pragma once

#include "com/Com.h"
#include "com/ComPtr.h"
#include "platform/Export.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// The process's table of components: which class ids there are, in which module each lives and to which categories it
/// belongs.
///
/// It is filled from component manifests, small XML files named `<name>.component`:
///
///     <component>
///       <module>libfoo.so</module>                          path of the module, relative to the manifest's folder
///       <class id="{...}" name="Foo">
///         <category id="{...}"/>
///       </class>
///     </component>
///
/// and by RegisterComponentClass. On Windows the system's registry is asked after the table. A class that is already in
/// the table stays as it is: earlier folders win, and a class that this process serves itself comes before all. All
/// functions are safe from any thread, and none throws but std::bad_alloc.

/// One class of a module.
struct SComponentClass {
    CLSID id = {};
    std::wstring name;
    std::vector<CATID> categories;
    std::wstring threadingModel = L"Both"; ///< what Windows is told; elsewhere every object is called on any thread
    std::wstring appId = {};               ///< of the process to run in; empty for a class that runs in its caller's
    /// The model was named: who names none has not said that he expects several threads.
    bool isThreadingTold = false;
};

/// What a manifest says.
struct SComponentManifest {
    std::wstring modulePath; ///< full path when read; when written, as it is to stand in the file
    std::vector<SComponentClass> classes;
    GUID typeLibrary = {};     ///< null when there is none
    bool isRegistered = false; ///< written by a registration (com/Registration.h), not by hand
};

/// Reads one manifest; it is UTF-8 text. False with a text that names the file and the reason. Checks the file alone,
/// not its permissions and not the module.
[[nodiscard]] ZEL_FRAMEWORK_API bool ReadComponentManifest(const std::wstring& path, SComponentManifest& manifest,
                                                           std::wstring& error);
/// The same with the text of a manifest; the path, which need not exist, is the one for messages and for the module's.
[[nodiscard]] ZEL_FRAMEWORK_API bool ParseComponentManifest(const std::wstring& text, const std::wstring& path,
                                                            SComponentManifest& manifest, std::wstring& error);
/// A text as it stands in an attribute or an element of a manifest.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring EscapeForManifest(std::wstring_view text);
/// Writes one manifest, which only its owner may write to then; false with a text that names the file and the reason.
/// One that was there is replaced as a whole, or stays as it is.
[[nodiscard]] ZEL_FRAMEWORK_API bool WriteComponentManifest(const std::wstring& path,
                                                            const SComponentManifest& manifest, std::wstring& error);

/// Adds all manifests of a folder, in the order of their names. One that can't be used (unreadable, not a manifest, no
/// module there, not to be trusted as platform/Trust.h has it) is left out with a line in errors that names the file
/// and the reason; the others are added. So is a class id that another module has taken already. The modules are not
/// loaded here. A folder that does not exist is an error line; one that is not to be trusted is left out whole. Adding
/// a folder again changes nothing but adds what is new.
ZEL_FRAMEWORK_API void AddComponentFolder(const std::wstring& path, std::vector<std::wstring>& errors);

/// Adds the folders of registered components (com/Registration.h), the system's and the user's, where they exist, then
/// each folder that the variable ZEL_COMPONENT_PATH names.
ZEL_FRAMEWORK_API void LoadDefaultComponentFolders(std::vector<std::wstring>& errors);

/// Appends the class ids of a category: those of the table in the order they were added, then, on Windows, those that
/// the system's category manager knows and the table does not (this part needs an initialised thread). Each id once.
ZEL_FRAMEWORK_API void EnumerateCategory(const GUID& category, std::vector<CLSID>& classes);

/// One class of the table.
struct SComponentInfo {
    CLSID id = {};
    std::wstring name = {};
    std::vector<CATID> categories = {};
    std::wstring modulePath = {}; ///< empty for a class that lives in this process
    std::wstring source = {};     ///< the manifest, or what else names the class
    /// Objects of it may be used on several threads at once, each on one: it says Apartment, Both or Free, is
    /// the system's alone or lives in this process.
    bool mayServeSeveral = true;
};

/// Everything in the table in its order, which is the category order, then, on Windows, the classes of this category
/// that the system knows and the table does not (this part needs an initialised thread).
[[nodiscard]] ZEL_FRAMEWORK_API std::vector<SComponentInfo> ListComponents(const GUID& category);

/// Makes an object as CoCreateInstanceZEL does. On failure the text names the class, its module and the reason. What
/// GetComponentClassObject asks of a module is asked here of the system's classes as well, before their code runs.
[[nodiscard]] ZEL_FRAMEWORK_API HRESULT CreateComponent(REFCLSID classId, REFIID iid, void** object,
                                                        std::wstring& errorText);

/// True when the table knows the class.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsComponentKnown(REFCLSID classId);

/// The class object of a class of the table, loading its module when that has not happened yet; a module stays loaded
/// to the end of the process. REGDB_E_CLASSNOTREG when the table does not know it, CO_E_DLLNOTFOUND when the module
/// cannot be loaded, CO_E_ERRORINDLL when it is no component module or one for another version; errorText, when given,
/// then names the file and the reason.
ZEL_FRAMEWORK_API HRESULT GetComponentClassObject(REFCLSID classId, REFIID iid, void** object,
                                                  std::wstring* errorText = nullptr);

/// Adds a class that lives in this process, for hosts and tests. The table keeps a reference to the factory until the
/// class is revoked. E_INVALIDARG for a null factory or a class id that is all zero, S_FALSE when the class is already
/// in the table, which then stays as it was.
ZEL_FRAMEWORK_API HRESULT RegisterComponentClass(REFCLSID classId, IClassFactory* factory,
                                                 const std::vector<CATID>& categories);
/// The same with a function that makes the object (the arguments of IClassFactory::CreateInstance without the outer
/// object). Called on any thread, possibly on several at once.
using ComponentFactoryFunction = std::function<HRESULT(REFIID iid, void** object)>;
ZEL_FRAMEWORK_API HRESULT RegisterComponentClass(REFCLSID classId, ComponentFactoryFunction factory,
                                                 const std::vector<CATID>& categories);
/// Takes a class out of the table, wherever it lives; S_FALSE when it is not there. Objects live on, and a module that
/// serves it stays loaded.
ZEL_FRAMEWORK_API HRESULT RevokeComponentClass(REFCLSID classId);
