// SPDX-License-Identifier: MIT
#include "lookup/config/TypeConfig.h"

#include "conf/NumberRange.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <limits>
#include <stdexcept>

namespace kwlookup {

void TypeConfig::LoadLocal(const std::vector<std::string>& settings) {
    const std::vector<params_t> params = GetAllParams();
    std::vector<std::string> fitting = settings;
    std::string reason;
    for (std::string& setting : fitting) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos)
            continue; // the base reports it
        const std::string name = boost::algorithm::trim_copy(setting.substr(0, equals));
        for (const params_t& param : params) {
            if (!boost::algorithm::iequals(param.name, name))
                continue;
            const std::string passed = PassedRange(param.type, setting.substr(equals + 1));
            if (passed.empty())
                continue;
            reason = param.name + ' ' + passed;
            const bool size = param.type == IfConfParser::VT_SIZE;
            setting = name + '=' +
                      std::to_string(size ? std::numeric_limits<long long>::max()
                                          : std::numeric_limits<int>::max());
        }
    }
    // The plug-in's own limit, if it has one, makes a better message.
    KwLookupSharedConf::LoadLocal(fitting);
    if (!reason.empty())
        throw std::invalid_argument(reason);
}

} // namespace kwlookup
