// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Refusals.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// The settings of a door, from its section [door NAME].
struct DoorConfig {
    /// A list that the door serves.
    struct List {
        std::string name;
        std::size_t number; ///< in the configuration, from 0
    };
    /// A rule of `Ask`: look for an attribute of the client's request in a list.
    struct Rule {
        std::string attribute;
        List list;
    };

    std::string name;
    std::string protocol;
    std::vector<std::string> addresses;
    std::vector<List> lists; ///< `Lists`, in order; never empty if there are no rules
    std::vector<Rule> rules; ///< `Ask`, in order
    std::map<std::string, std::string>
        settings; ///< the protocol's own, by their names in lower case
    /// What was refused at the door. Copies share it: the sessions count, and monitoring reads.
    std::shared_ptr<Refusals> refusals = std::make_shared<Refusals>();
};

} // namespace kwlookup
