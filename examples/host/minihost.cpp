// SPDX-License-Identifier: MIT
// A small host. Reads addresses from standard input, one a line, and searches the list for them.
// The line "reload" loads the list again.
#include "MailList.h"
#include "kwhost/ConfFileLoader.h"

#include <boost/make_shared.hpp>

#include <exception>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: minihost LIST\n";
        return 64;
    }
    LogClass log("minihost");
    // Configures plug-ins. Without a file, every parameter has its default.
    const auto loader = boost::make_shared<kwlookup::ConfFileLoader>();
    KwObjectHolder::SetConfLoader(loader);
    MailList list(argv[1], log);
    try {
        list.Load();
    } catch (const std::exception& error) {
        std::cerr << "minihost: " << error.what() << '\n';
        return 78;
    }
    for (std::string line, result; std::getline(std::cin, line);) {
        try {
            if (line == "reload") {
                list.Load();
                std::cout << "reloaded" << std::endl;
            } else if (list.Ask(line, result)) {
                std::cout << line << ": " << result << std::endl;
            } else {
                std::cout << line << ": not listed" << std::endl;
            }
        } catch (const std::exception& error) {
            std::cout << line << " failed: " << error.what() << std::endl;
        }
    }
    return 0;
}
