// SPDX-License-Identifier: MIT
// Asks a list about addresses: ask CONFIGURATION LIST ADDRESS...
#include "host/LogClass.h"
#include "kwhost/AddressFinder.h"
#include "kwhost/ConfFileLoader.h"
#include "lookup/KwFactory.h"
#include "lookup/KwLookupHolder.h"

#include <boost/make_shared.hpp>

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    if (argc < 4) {
        std::cerr << "usage: ask CONFIGURATION LIST ADDRESS...\n";
        return 64;
    }
    try {
        // A host says which types its lists may name; a plug-in serves this one.
        KwFactory<KwIfLookup>::Instance().Register("path", nullptr);

        const auto loader = boost::make_shared<ConfFileLoader>();
        loader->SetFile(ConfFile(argv[1]));
        KwObjectHolder::SetConfLoader(loader);

        LogClass log("ask");
        KwLookupHolder list(log);
        list.Init(argv[2]);
        KwObjectHolder::AfterReload(log); // throws when an item failed

        for (int i = 3; i < argc; ++i) {
            std::string result;
            const bool found = list.Find(AddressFinder(argv[i]), &result, 0, nullptr);
            std::cout << argv[i] << (found ? ": found" + result : ": not found") << '\n';
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "ask: " << error.what() << '\n';
        return 75;
    }
}
