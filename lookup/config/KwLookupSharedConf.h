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

/// The configuration of one lookup type: named parameters, each bound to a member variable. A
/// plug-in derives its own class and lists its parameters in GetParams(). A new plug-in derives it
/// from kwlookup::TypeConfig, which does that.
///
/// Every configuration has two more parameters. `SkipDomains` is an object list ("file" and literal
/// values only) of domains that the lookup does not search for; it is empty by default. `OnError`
/// tells what to do when a search fails: "ignore", the default, or "exception", in any letter case.
///
/// Configurations form a chain. The type-wide configuration is filled from the type's section in
/// the host's configuration. A lookup with settings in its init data also has a local one. It
/// answers for the parameters that these settings set, and GetGlobal() for all others. The
/// type-wide configuration must outlive every lookup of the type.
///
/// Threads: one thread loads it, while no lookup of the type is searched. Afterwards any number of
/// threads may read it.
class KW_EXPORT KwLookupSharedConf {
public:
    /// One parameter. The letter case of names is ignored.
    struct params_t {
        std::string name;           ///< the name in the configuration
        void* var;                  ///< the variable, a member of the configuration
        const void* def;            ///< the default, of the same C++ type, or null
        IfConfParser::VarType type; ///< how a text is converted to the value
        bool no_local = false;      ///< cannot be set for a single lookup
        bool local_set = false;     ///< LoadLocal() has set it
    };

    /// `name` is the prefix of the section: parameters are registered as NAME/PARAMETER.
    explicit KwLookupSharedConf(const std::string& name);
    virtual ~KwLookupSharedConf();

    // The parameters hold addresses inside the object.
    KwLookupSharedConf(const KwLookupSharedConf&) = delete;
    KwLookupSharedConf& operator=(const KwLookupSharedConf&) = delete;

    /// Writes to a copy of `log` from now on. Before that, nothing is logged.
    virtual void SetLog(const LogClass& log);

    /// Registers every parameter of the type-wide configuration with the host's parser. Always
    /// returns true. Parameters that the host does not set keep their value.
    virtual bool MakePreInit(boost::shared_ptr<IfConfParser> parser);

    /// Interprets the values after all of them are set. A derived class that overrides it checks
    /// its own values first and calls this one last, so that GetOnError() does not change when it
    /// throws. Throws std::invalid_argument "Wrong OnError setting [VALUE]: wait 'ignore' or
    /// 'exception'".
    virtual void PostInit();

    /// Applies `settings` to a local configuration and calls PostInit(). Each setting is a text
    /// NAME=VALUE; white space around the name and the value is ignored.
    ///
    /// Throws std::invalid_argument at the first setting that fails. Those before it stay applied.
    ///   - "error in TYPE params: can`t find '=' in SETTING";
    ///   - "error during parse TYPEsetting: 'SETTING'": the name is unknown or has no_local, or
    ///     ConfParser refuses the value and logs why;
    ///   - "error in TYPE param parse (2) : 'SETTING'".
    virtual void LoadLocal(const std::vector<std::string>& settings);

    /// Returns the parameters of the derived class, bound to this object. Param() makes one.
    virtual std::vector<params_t> GetParams() const = 0;

    /// Returns the configuration that this one inherits from. The type-wide one returns itself.
    virtual const KwLookupSharedConf* GetGlobal() const = 0;

    /// Returns the parameters of GetParams() and the two of every configuration, sorted by name.
    std::vector<params_t> GetAllParams();

    /// Returns true when a failed search must throw, and false when it counts as a miss. Uses
    /// `OnError` of the nearest configuration in the chain that sets it.
    bool GetOnError() const;

    /// Returns the value of the parameter `name` from the nearest configuration in the chain that
    /// sets it. Throws std::invalid_argument "can not find : 'NAME' option", and std::logic_error
    /// "option 'NAME' is of another type" when its variable is not a T.
    template <typename T>
    const T& GetVal(const char* name) const {
        const params_t& row = FindRow(name);
        if (!kwlookup::HoldsA<T>(row.type))
            throw std::logic_error(std::string("option '") + name + "' is of another type");
        return *static_cast<const T*>(row.var);
    }

protected:
    /// Makes a row of GetParams() for a parameter of a kind in ParameterKind.h. `var` is a member
    /// of this object. `def` must outlive this object.
    template <typename Kind>
    static params_t Param(const std::string& name, const kwlookup::ParameterValue<Kind>& var,
                          const kwlookup::ParameterValue<Kind>* def = nullptr,
                          bool no_local = false) {
        // GetParams() is const, but this object is not.
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
