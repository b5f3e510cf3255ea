// SPDX-License-Identifier: MIT
#include "lookup/config/KwLookupWithConfig.h"
#include "lookup/config/TestConf.h"

#include <stdexcept>

namespace {

TestConf& TypeConf() {
    static TestConf conf(PLUGIN_SECTION);
    return conf;
}

/// Answers every search with its query, "HOST:PORT TEMPLATE", with the template expanded. A query
/// that contains "fail" fails.
class ConfiguredPlugin : public KwLookupWithConfig {
public:
    explicit ConfiguredPlugin(const LogClass& log) : KwLookupWithConfig(&TypeConf()), m_log(log) {}

    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override {
        return TypeConf().MakePreInit(parser);
    }
    void PostInit() override { TypeConf().PostInit(); }

    void Init(const std::string& init_data) override { m_template = ParseInitData(init_data); }
    std::string GetDescription() const override { return m_template; }
    void InitLog(const LogClass& log) override { TypeConf().SetLog(log); }
    const LogClass* GetLogPtr() const override { return &m_log; }

    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string*) const override {
        if (CheckSkipDomains(finder, flags))
            return false;
        const std::string query = ExpandFilter(m_template.c_str(), finder, flags);
        if (query.find("fail") != std::string::npos) {
            if (m_conf->GetOnError())
                throw std::runtime_error("the query failed");
            return false;
        }
        *res = m_conf->GetVal<std::string>("Host") + ":" +
               std::to_string(m_conf->GetVal<int>("Port")) + " " + query;
        return true;
    }

protected:
    KwLookupSharedConf* CreateLocalConf() override {
        return new TestConf(PLUGIN_SECTION, &TypeConf());
    }

private:
    const LogClass& m_log;
    std::string m_template;
};

} // namespace

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new ConfiguredPlugin(log);
}
