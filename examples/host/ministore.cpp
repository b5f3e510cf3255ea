// SPDX-License-Identifier: MIT
// A small host that stores. Stores each address, with the current time, into all items of the list.
#include "host/KwStorageValuesMap.h"
#include "host/LogClass.h"
#include "kwhost/ConfFileLoader.h"
#include "lookup/KwStorageHolder.h"

#include <boost/make_shared.hpp>

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: ministore LIST ADDRESS...\n";
        return 64;
    }
    LogClass log("ministore");
    const auto loader = boost::make_shared<kwlookup::ConfFileLoader>();
    KwObjectHolder::SetConfLoader(loader);
    KwStorageHolder storage(log);
    try {
        KwObjectHolder::BeforeReload(log);
        storage.Init(argv[1]);
        KwObjectHolder::AfterReload(log);
    } catch (const std::exception& error) {
        std::cerr << "ministore: " << error.what() << '\n';
        return 78;
    }
    int status = 0;
    for (int i = 2; i < argc; ++i) {
        // The statement in the list says which values it needs, and their types.
        KwStorageValuesMap record;
        record.m_values["address"] = {KwStorageValuesMap::Varchar, argv[i]};
        record.m_values["at"] = {KwStorageValuesMap::Timestamp, "now"};
        try {
            storage.Store(record);
        } catch (const std::exception& error) {
            std::cerr << argv[i] << " is not stored: " << error.what() << '\n';
            status = 75;
        }
    }
    return status;
}
