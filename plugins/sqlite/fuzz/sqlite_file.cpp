// SPDX-License-Identifier: MIT
// Searches an SQLite file for a text. The input is the text, a zero byte, and the file.
#include "fuzz/Require.h"
#include "host/LogClass.h"
#include "kwhost/ConfFileLoader.h"
#include "lookup/KwLookupHolder.h"
#include "objects/KwObjectHolder.h"
#include "support/TempDir.h"
#include "support/TextFinder.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace {

using namespace kwlookup;

/// Searches a file in a directory of its own, because SQLite looks for other files beside it.
class Database {
public:
    Database() { KwObjectHolder::SetConfLoader(m_loader); }
    ~Database() { KwObjectHolder::SetConfLoader(nullptr); }

    void Ask(const std::string& text, const std::string& bytes) {
        const std::string name = m_dir.Write("access", bytes);
        KwLookupHolder holder(m_log);
        holder.Init("sqlite:OnError=exception|Timeout=0|Database=" + name +
                    "|select result from access where address = '$s'");
        Require(!holder.Empty());
        try {
            std::string first, second, matched;
            const bool found = holder.Find(TextFinder(text), &first, 0, &matched);
            Require(holder.Find(TextFinder(text), &second, 0, nullptr) == found);
            Require(first == second);
            Require(found ? matched == text : first.empty());
        } catch (const std::runtime_error& error) {
            Require(std::string(error.what()).compare(0, name.size() + 2, name + ": ") == 0);
        }
    }

private:
    const TempDir m_dir;
    const LogClass m_log{""};
    const boost::shared_ptr<ConfFileLoader> m_loader = boost::make_shared<ConfFileLoader>();
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Database database;
    const std::uint8_t* zero = std::find(data, data + size, 0);
    const std::string text(data, zero);
    database.Ask(text, std::string(zero == data + size ? zero : zero + 1, data + size));
    return 0;
}
