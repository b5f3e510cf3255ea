// SPDX-License-Identifier: MIT
// Uses each of the three libraries.
#include "host/LogClass.h"
#include "kwhost/AddressFinder.h"
#include "kwlog/Logging.h"
#include "lookup/KwLookupHolder.h"

#include <iostream>
#include <string>

int main() {
    kwlookup::SetLogging(kwlookup::LogTarget::StandardError, log4cxx::Level::LEVEL_DEBUG);
    const LogClass log("consumer");
    KwLookupHolder list(log);
    list.Init("ads.example, corp.lan listed");

    std::string result;
    const bool found = list.Find(kwlookup::AddressFinder("<jdoe@corp.lan>"), &result, 0, nullptr);
    if (!found || result != " listed") {
        std::cerr << "found " << found << ", result [" << result << "]\n";
        return 1;
    }
    if (list.Find(kwlookup::AddressFinder("jdoe@corp.example"), &result, 0, nullptr)) {
        std::cerr << "found what is not on the list\n";
        return 1;
    }
    return 0;
}
