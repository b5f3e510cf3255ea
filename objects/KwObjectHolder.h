// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "lookup/KwIfObject.h"

#include <boost/ptr_container/ptr_vector.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/weak_ptr.hpp>

#include <stdexcept>
#include <string>
#include <vector>

class IfConfLoader;
class InterfaceConfHolder;
class KwIfSharedObject;
class LogClass;

/// Turns an object list, such as "abc, file:/etc/mail/blocked, ldap:(mail=$s)", into objects.
///
/// A derived holder owns the objects and creates those of built-in types. Every other type comes
/// from the plug-in library libkw_lookup_<type>.so on the dynamic loader's search path. A library
/// is opened once a process and never closed. When an item fails, its error is logged and collected
/// for the whole process, and the other items are still created.
///
/// The host sets a loader once, and reloads its lists like this:
///
///     KwObjectHolder::BeforeReload(log);
///     for (KwLookupHolder& list : lists)
///         list.Init(...);
///     KwObjectHolder::AfterReload(log);
///
/// Threads: different holders may be filled at once; opening libraries and calling their creators
/// takes one process-wide lock. A holder must not be searched while it is filled. Slot order is
/// part of the binary interface.
class KW_EXPORT KwObjectHolder : public virtual KwIfObject {
public:
    /// Which types a list may contain.
    enum Filter {
        AnyObject = 0,  ///< every type
        BuiltinOnly = 1 ///< "file" and literal values
    };

    /// Keeps the address of `log`, which must outlive the holder and its objects.
    KwObjectHolder(Filter filter, const LogClass& log);
    ~KwObjectHolder() override;

    /// Destroys the objects of the holder and creates those of the list `objects`.
    ///
    /// Throws std::invalid_argument when the list cannot be split (ConfParser::SplitVector). Does
    /// not throw when an item fails: it logs "Error in init KIND [ITEM]: REASON" at error level,
    /// collects that text, and goes on with the next item. Besides the object's own exception,
    /// REASON may be
    ///   - "can`t use this KIND here": a plug-in type under BuiltinOnly;
    ///   - "Cannot load shared library FILE because REASON";
    ///   - "Cannot resolve 'SYMBOL' from a shared library FILE because REASON";
    ///   - "Can`t create TYPE:PARAMSKIND";
    ///   - "can`t use KIND TYPE here": the type needs a configuration but there is no loader, or
    ///     this list is itself a value in a configuration that is being loaded;
    ///   - a reason of LoadConfig().
    void Init(const std::string& objects) override;
    /// Returns the list that Init() last got.
    std::string GetDescription() const override;
    /// Does nothing: the holder keeps the logger of its constructor.
    void InitLog(const LogClass& log) override;
    /// Returns the logger of the constructor.
    const LogClass* GetLogPtr() const override;

    /// Makes the object of a literal value. Returns a pointer for AddObject().
    virtual void* GetDefObject(const std::string& value) const = 0;

    /// Makes an object of a built-in type. Returns the object, which the caller owns, and sets
    /// `added` to the pointer for AddObject(). Both are null when a plug-in serves the type. Throws
    /// when the type is unknown.
    virtual KwIfObject* GetObjectByName(const std::string& type, const std::string& params,
                                        void*& added) const = 0;

    /// Returns the name of the creator symbol in a plug-in library.
    virtual const char* GetNameFromLib() const = 0;

    /// Returns the kind of object as messages name it, such as "lookup".
    virtual const std::string& GetNameForLog() const = 0;

    /// Calls the creator `factory` of a plug-in library. Returns the object, which the caller owns,
    /// and sets `added` to the pointer for AddObject(). Both are null when the creator returned
    /// null.
    virtual KwIfSharedObject* CreateObject(void* factory, const LogClass& log,
                                           void*& added) const = 0;

    /// Appends an object and takes ownership of it, also when it throws.
    virtual void AddObject(void* object) = 0;

    /// Destroys every object.
    virtual void ClearObjects() = 0;

    /// Splits one item into its type, in lower case, and its parameters. The type is empty for a
    /// literal value: an item without a colon, with white space before its first colon, or of the
    /// type "value".
    static void ParseObject(const std::string& item, std::string& type, std::string& params);

    /// Makes one object of a plug-in type and adds it. Throws the reasons listed at Init(). Ignores
    /// the filter, which only Init() checks.
    void LoadFromDynamicLibrary(const std::string& type, const std::string& params);

    /// Collects an error for the item that Init() is creating in this thread. The object stays in
    /// the list, and AfterReload() reports "Error in init KIND [ITEM]: REASON". An object calls it
    /// when it could load only a part of its data. Logs nothing. Does nothing when this thread is
    /// not in Init(). Throws std::bad_alloc.
    static void CollectItemError(const std::string& reason);

    /// Checks that lists can have items of the plug-in type `type`: opens its library, which stays
    /// open, and looks up the creator of lookups. Throws std::domain_error with the reasons listed
    /// at Init().
    static void CheckPlugin(const std::string& type);

    /// Checks the configuration of the plug-in type `type`: loads it as BeforeReload() does for a
    /// type in use. Throws the reasons of CheckPlugin() and BeforeReload().
    static void CheckPluginConfig(const std::string& type, const LogClass& log);

    /// Sets the host's configuration loader, which may be null. Keeps a weak reference; the host
    /// keeps the loader alive. Must not be called while another thread loads a configuration.
    static void SetConfLoader(boost::shared_ptr<IfConfLoader> loader);

    /// Loads the section "lookup_TYPE" into `holder` through the host's loader.
    ///
    /// Writes "Success load configuration for lookup_TYPE" at debug level. Throws
    /// std::domain_error "can`t load configuratoin for TYPE: no ConfLoader object" when there is no
    /// loader, and "error in reading configuration for TYPE" when it could not read the section.
    /// Exceptions of the loader pass through. One load runs at a time, in the thread that loads the
    /// plug-in.
    static void LoadConfig(const std::string& type, InterfaceConfHolder* holder,
                           const LogClass& log);

    /// Begins a reload: loads the configuration of every plug-in type used so far again. The host
    /// then calls Init() on its holders, and AfterReload().
    ///
    /// When there are errors that AfterReload() has not reported yet, reports and throws them as
    /// AfterReload() does, and reloads nothing. A type that fails keeps its configuration, and is
    /// loaded again when a list next names it; "Error in configuration reload for TYPE: REASON" is
    /// written at error level. Besides those of LoadConfig(), REASON may be "Cannot resolve
    /// 'CreateLookup' from a shared library TYPE because REASON", "Can`t create TYPE" and "can`t
    /// use TYPE without configuration loading".
    ///
    /// Threads: other threads may fill holders, but must not search holders with objects of a type
    /// that it loads.
    static void BeforeReload(LogClass& log);

    /// Ends a reload. Returns when no item of any holder has failed since the last report.
    /// Otherwise writes "last lookups/storage errors:" and each collected text, after two blanks,
    /// at error level, clears the collection, and throws std::domain_error "Errors in
    /// lookups/storage. See above.".
    ///
    /// Threads: no holder may be filled meanwhile.
    static void AfterReload(LogClass& log);

private:
    class ObjectLib;
    class RegistryLock;
    class CurrentItem;

    void InitItem(const std::string& item);
    std::string ErrorText(const std::string& item, const std::string& reason) const;
    void CollectError(const std::string& item, const char* reason) const;
    static void AddError(const std::string& text);
    std::invalid_argument CannotUse(const std::string& type) const;
    ObjectLib* FindLib(const std::string& type) const;
    void OpenLib(const std::string& type) const;

    std::string m_init;
    Filter m_filter;
    const LogClass* m_log;

    static boost::ptr_vector<ObjectLib> m_loaded_libs;
    static boost::mutex m_lock;
    static std::vector<std::string> m_errors;
    static boost::weak_ptr<IfConfLoader> m_conf_loader;
};
