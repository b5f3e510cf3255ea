// SPDX-License-Identifier: MIT
#pragma once

#include "conf/IfConfParser.h"
#include "host/KwExport.h"
#include "host/LogClass.h"
#include "lookup/builtin/KwDomainsLookup.h"
#include "lookup/config/ParameterKind.h"

#include <boost/shared_ptr.hpp>

#include <stdexcept>
#include <string>
#include <vector>

/// The configuration of one type of configurable lookup: named parameters, each bound to a member
/// variable. A plug-in derives its own from it and names its parameters in GetParams().
///
/// Every configuration has two parameters of its own. `SkipDomains` is an object list of domains
/// ("file" and literal values only) for which the lookup is not asked; empty by default. `OnError`
/// is "ignore", the default, or "exception", in any letter case: what a failed search does.
///
/// Configurations form a chain. The type-wide one is filled from the section of the type in the
/// host's configuration; a lookup whose init data hold settings has a local one of its own, which
/// answers for what was set there and leaves all else to the one that it inherits from
/// (GetGlobal()). The type-wide one must outlive every lookup of the type.
///
/// Threads: written while it is loaded, by one thread and while no lookup of the type is searched;
/// otherwise only read, by any number of threads.
class KW_EXPORT KwLookupSharedConf {
public:
    /// One parameter. Letter case in names does not count.
    struct params_t {
        std::string name;           ///< as written in the configuration
        void* var;                  ///< the variable, a member of the configuration
        const void* def;            ///< its default, of the same C++ type, or null
        IfConfParser::VarType type; ///< how text becomes its value
        bool no_local = false;      ///< cannot be set for a single lookup
        bool local_set = false;     ///< LoadLocal() has set it
    };

    /// `name` is the name of the type: parameters are registered as NAME/PARAMETER.
    explicit KwLookupSharedConf(const std::string& name);
    virtual ~KwLookupSharedConf();

    // The parameters are addresses inside this very object.
    KwLookupSharedConf(const KwLookupSharedConf&) = delete;
    KwLookupSharedConf& operator=(const KwLookupSharedConf&) = delete;

    /// Takes a copy of `log` to write to; before that it is a logger without a name.
    virtual void SetLog(const LogClass& log);

    /// Registers every parameter with the host's parser, for the type-wide configuration. Always
    /// true. Parameters that the host then does not set keep the value that they had.
    virtual bool MakePreInit(boost::shared_ptr<IfConfParser> parser);

    /// The step after the values are in. A derived class that interprets values of its own calls
    /// this one too, and last, so that what it throws itself leaves GetOnError() as it was. Throws
    /// std::invalid_argument "Wrong OnError setting [VALUE]: wait 'ignore' or 'exception'".
    virtual void PostInit();

    /// Applies `settings`, each of the form NAME=VALUE, to a local configuration; white space
    /// around both is ignored. Then, and also when there are none, calls PostInit().
    ///
    /// Throws std::invalid_argument at the first setting that fails; those before it stay applied:
    /// "error in TYPE params: can`t find '=' in SETTING", "error during parse TYPEsetting:
    /// 'SETTING'" for an unknown name, one that is no_local, or a value that ConfParser refuses
    /// (its reason is logged), and "error in TYPE param parse (2) : 'SETTING'".
    virtual void LoadLocal(const std::vector<std::string>& settings);

    /// The parameters of the derived class, for this very object; Param() makes one.
    virtual std::vector<params_t> GetParams() const = 0;

    /// The configuration that this one inherits from; the type-wide one returns itself.
    virtual const KwLookupSharedConf* GetGlobal() const = 0;

    /// The parameters of GetParams() and the two of every configuration, sorted by name.
    std::vector<params_t> GetAllParams();

    /// True when a failed search must throw, false when it counts as a miss: `OnError` of the
    /// nearest configuration up the chain that sets it.
    bool GetOnError() const;

    /// The value of the parameter `name` from the nearest configuration up the chain that sets it.
    /// Throws std::invalid_argument "can not find : 'NAME' option", and std::logic_error "option
    /// 'NAME' is of another type" when its variable is not a T.
    template <typename T>
    const T& GetVal(const char* name) const {
        const params_t& row = FindRow(name);
        if (!kwlookup::HoldsA<T>(row.type))
            throw std::logic_error(std::string("option '") + name + "' is of another type");
        return *static_cast<const T*>(row.var);
    }

protected:
    /// A row of GetParams(), for a parameter of a kind in ParameterKind.h. `var` is a member of
    /// this object; `def` must outlive it.
    template <typename Kind>
    static params_t Param(const std::string& name, const kwlookup::ParameterValue<Kind>& var,
                          const kwlookup::ParameterValue<Kind>* def = nullptr,
                          bool no_local = false) {
        // GetParams() is const, but the object that it is called on is not.
        return {name, const_cast<kwlookup::ParameterValue<Kind>*>(&var), def,
                kwlookup::ParameterKind<Kind>::TYPE, no_local};
    }

private:
    const params_t& FindRow(const char* name) const;

    std::vector<params_t> m_params;
    LogClass m_log;
    std::string m_name;
    KwDomainsLookup m_skip_domains;
    std::string m_on_error_str;
    bool m_on_error;
};

extern template const KwDomainsLookup&
KwLookupSharedConf::GetVal<KwDomainsLookup>(const char* name) const;
