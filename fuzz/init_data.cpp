// SPDX-License-Identifier: MIT
// Configures a lookup with init data, which are settings and a template, and expands the template
// with a text. The input is the text, a zero byte, and the init data.
#include "fuzz/Require.h"
#include "host/LogClass.h"
#include "lookup/config/KwLookupWithConfig.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace kwlookup;

class Conf : public KwLookupSharedConf {
public:
    explicit Conf(const KwLookupSharedConf* parent)
        : KwLookupSharedConf("fuzz"), m_parent(parent ? parent : this) {}

    std::vector<params_t> GetParams() const override {
        return {Param<int>("Port", m_port), Param<std::string>("Host", m_host),
                Param<std::vector<std::string>>("Names", m_names),
                Param<kwlookup::RawText>("Secret", m_secret, nullptr, true)};
    }
    const KwLookupSharedConf* GetGlobal() const override { return m_parent; }

    int m_port = 0;
    std::string m_host;
    std::vector<std::string> m_names;
    std::string m_secret;

private:
    const KwLookupSharedConf* m_parent;
};

class Parser : public IfConfParser {
public:
    void Add(const std::string&, void*, VarType, const void*) override {}
};

class Finder : public KwLookupFinder {
public:
    explicit Finder(const std::string& text) : m_text(text) {}
    bool Match(const std::string& value) const override { return value == m_text; }
    TextRange GetRequest() const override { return TextRange(m_text.begin(), m_text.end()); }

private:
    const std::string& m_text;
};

Conf& Global() {
    static Conf conf(nullptr);
    return conf;
}

class Lookup : public KwLookupWithConfig {
public:
    Lookup() : KwLookupWithConfig(&Global()) {}

    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override {
        return Global().MakePreInit(parser);
    }
    void PostInit() override { Global().PostInit(); }
    void Init(const std::string& text) override { m_template = ParseInitData(text); }
    std::string GetDescription() const override { return m_template; }
    void InitLog(const LogClass&) override {}
    const LogClass* GetLogPtr() const override { return nullptr; }
    bool Find(const KwLookupFinder&, std::string*, int, std::string*) const override {
        return false;
    }

    void UseSettings() const {
        m_conf->GetOnError();
        m_conf->GetVal<int>("port");
        m_conf->GetVal<std::string>("host");
        Require(m_conf->GetVal<std::string>("secret").empty());
    }

protected:
    KwLookupSharedConf* CreateLocalConf() override { return new Conf(&Global()); }

private:
    std::string m_template;
};

/// Expand the template. False if it has an unknown code.
bool Expand(const Lookup& lookup, const std::string& filter, const std::string& text, int flags,
            std::string& result) {
    try {
        result = lookup.ExpandFilter(filter.c_str(), Finder(text), flags);
        return true;
    } catch (const std::invalid_argument&) {
        return false;
    }
}

/// Check that the text is put in unchanged: for a domain, expanding `$s` and `$d` is the same as
/// replacing a mark in the template by the text.
void CheckExpansion(const Lookup& lookup, const std::string& filter, const std::string& text) {
    const char mark = '\1';
    std::string with_mark, expanded;
    const bool valid = Expand(lookup, filter, std::string(1, mark), FIND_DOMAIN, with_mark);
    for (int flags = 0; flags < 16; ++flags)
        Require(Expand(lookup, filter, text, flags, expanded) == valid);
    if (!valid || filter.find(mark) != std::string::npos)
        return;
    std::string expected;
    for (char c : with_mark) {
        if (c == mark)
            expected += text;
        else
            expected += c;
    }
    Require(Expand(lookup, filter, text, FIND_DOMAIN, expanded) && expanded == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool registered =
        Global().MakePreInit(boost::shared_ptr<IfConfParser>(new Parser));
    Require(registered);
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t zero = input.find('\0');
    if (zero == std::string::npos)
        return 0;
    const std::string text = input.substr(0, zero);

    // The library collects the errors of a list of skipped domains.
    LogClass silent("");
    try {
        KwObjectHolder::AfterReload(silent);
    } catch (const std::domain_error&) {
    }
    Lookup lookup;
    try {
        lookup.Init(input.substr(zero + 1));
    } catch (const std::invalid_argument&) {
        return 0;
    }
    lookup.UseSettings();
    Require(!lookup.GetDescription().empty());
    lookup.CheckSkipDomains(Finder(text), 0);
    CheckExpansion(lookup, lookup.GetDescription().c_str(), text);
    return 0;
}
