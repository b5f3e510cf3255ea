// SPDX-License-Identifier: MIT
#include <CLI/CLI.hpp>

int main(int argc, char** argv) {
    CLI::App app("Answer mail servers from lookup lists.", "kwlookupd");
    app.set_version_flag("--version", "kwlookupd " KWLOOKUP_VERSION);
    CLI11_PARSE(app, argc, argv);
    return 0;
}
