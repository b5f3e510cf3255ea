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

/// Turns an object list, "abc, file:/etc/mail/blocked, ldap:(mail=$s)", into objects.
///
/// The derived holder keeps the objects and creates those of built-in types; every other type comes
/// from the plug-in library libkw_lookup_<type>.so, found on the dynamic loader's search path,
/// opened once a process and never closed. An item that fails is logged, its error is collected for
/// the whole process, and the other items are still created.
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

    /// Replaces the objects by those of the list `objects`; the old ones are destroyed first.
    ///
    /// Throws std::invalid_argument when the list cannot be split (ConfParser::SplitVector). Does
    /// not throw for an item that fails: logs "Error in init KIND [ITEM]: REASON" at error level,
    /// collects that text, and goes on. Reasons of its own: "can`t use this KIND here" (a plug-in
    /// type under BuiltinOnly), "Cannot load shared library FILE because REASON", "Cannot resolve
    /// 'SYMBOL' from a shared library FILE because REASON", "Can`t create TYPE:PARAMSKIND", "can`t
    /// use KIND TYPE here" (configuration is needed and no loader is there, or this list is itself
    /// part of a configuration that is being loaded), and those of LoadConfig().
    void Init(const std::string& objects) override;
    /// The list last given to Init().
    std::string GetDescription() const override;
    /// Does nothing: the holder's logger is the constructor's.
    void InitLog(const LogClass& log) override;
    /// The constructor's logger.
    const LogClass* GetLogPtr() const override;

    /// Makes the object of a literal value; the result is what AddObject() takes.
    virtual void* GetDefObject(const std::string& value) const = 0;

    /// Makes an object of a built-in type. Returns it, for the caller to own, and in `added` what
    /// AddObject() takes; both null when a plug-in serves the type. Throws when the type is
    /// unknown.
    virtual KwIfObject* GetObjectByName(const std::string& type, const std::string& params,
                                        void*& added) const = 0;

    /// The name of the creator symbol in a plug-in library.
    virtual const char* GetNameFromLib() const = 0;

    /// The kind of object held, as messages name it.
    virtual const std::string& GetNameForLog() const = 0;

    /// Calls the creator `factory` of a plug-in library. Returns the object, for the caller to own,
    /// and in `added` what AddObject() takes; both null when the creator made none.
    virtual KwIfSharedObject* CreateObject(void* factory, const LogClass& log,
                                           void*& added) const = 0;

    /// Appends an object, which the holder owns from this call on, even when it throws.
    virtual void AddObject(void* object) = 0;

    /// Destroys every object.
    virtual void ClearObjects() = 0;

    /// Splits one item into its type, in lower case, and its parameters. The type is empty for a
    /// literal value: no colon, white space before it, or the type "value".
    static void ParseObject(const std::string& item, std::string& type, std::string& params);

    /// Makes one object of a plug-in type and adds it. Throws the reasons listed at Init(). Under
    /// BuiltinOnly too: only Init() looks at the filter.
    void LoadFromDynamicLibrary(const std::string& type, const std::string& params);

    /// Collects an error of the item of which Init() is making an object in this thread: that
    /// object stays, and AfterReload() reports "Error in init KIND [ITEM]: REASON". For an object
    /// that could be made in part. Logs nothing; does nothing where no item is being loaded.
    /// Throws std::bad_alloc.
    static void CollectItemError(const std::string& reason);

    /// Finds out whether a list can have items of the plug-in type `type`: opens its library, which
    /// stays open, and looks for the creator of lookups. Throws std::domain_error with the reasons
    /// of that at Init().
    static void CheckPlugin(const std::string& type);

    /// Finds out whether the plug-in type `type` can be configured: loads its configuration as
    /// BeforeReload() does for a type in use. Throws the reasons of CheckPlugin() and
    /// BeforeReload().
    static void CheckPluginConfig(const std::string& type, const LogClass& log);

    /// Gives the host's configuration loader, of which a weak reference is kept: the host keeps it
    /// alive. May be null. Not beside a load in another thread.
    static void SetConfLoader(boost::shared_ptr<IfConfLoader> loader);

    /// Loads the section "lookup_TYPE" into `holder` through the host's loader.
    ///
    /// Writes "Success load configuration for lookup_TYPE" at debug level. Throws
    /// std::domain_error "can`t load configuratoin for TYPE: no ConfLoader object" when there is no
    /// loader and "error in reading configuration for TYPE" when it could not read the section;
    /// what the loader throws passes through. Called by the thread that loads plug-ins; one load at
    /// a time.
    static void LoadConfig(const std::string& type, InterfaceConfHolder* holder,
                           const LogClass& log);

    /// Begins a reload: loads the configuration of every plug-in type used so far again. The host
    /// then calls Init() on its holders, and AfterReload().
    ///
    /// Errors that no AfterReload() reported yet are reported as it does, and nothing is reloaded.
    /// A type that fails keeps what it had, tells "Error in configuration reload for TYPE: REASON"
    /// at error level, and is loaded again when a list next names it. Reasons of its own: "Cannot
    /// resolve 'CreateLookup' from a shared library TYPE because REASON", "Can`t create TYPE",
    /// "can`t use TYPE without configuration loading", and those of LoadConfig().
    ///
    /// Threads: other threads may fill holders, not search those whose types it loads.
    static void BeforeReload(LogClass& log);

    /// Ends a reload: returns when no item of any holder failed since the last report. Otherwise
    /// writes "last lookups/storage errors:" and each collected text after two blanks at error
    /// level, forgets them, and throws std::domain_error "Errors in lookups/storage. See above.".
    ///
    /// Threads: not while a holder is filled.
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
