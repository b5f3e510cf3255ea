// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/StrictLoader.h"

#include "conf/IfConfParser.h"
#include "host/InterfaceConfHolder.h"

#include <boost/make_shared.hpp>

namespace kwlookup {

namespace {

/// Changes the default of `OnError` on the way to a parser.
class StrictParser : public IfConfParser {
public:
    StrictParser(std::string name, boost::shared_ptr<IfConfParser> parser)
        : m_name(std::move(name)), m_parser(std::move(parser)) {}

    void Add(const std::string& name, void* var, VarType type, const void* def) override {
        static const std::string exception = "exception";
        m_parser->Add(name, var, type, name == m_name ? &exception : def);
    }

private:
    const std::string m_name;
    const boost::shared_ptr<IfConfParser> m_parser;
};

class StrictHolder : public InterfaceConfHolder {
public:
    StrictHolder(const std::string& section, InterfaceConfHolder& holder)
        : m_name(section + "/OnError"), m_holder(holder) {}

    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override {
        return m_holder.MakePreInit(boost::make_shared<StrictParser>(m_name, parser));
    }
    void PostInit() override { m_holder.PostInit(); }

private:
    const std::string m_name;
    InterfaceConfHolder& m_holder;
};

} // namespace

bool StrictLoader::LoadSection(int instance, const std::string& section, int index,
                               const std::string& subsection, int options,
                               InterfaceConfHolder* holder, const LogClass& log) {
    StrictHolder strict(section, *holder);
    return ConfFileLoader::LoadSection(instance, section, index, subsection, options, &strict, log);
}

} // namespace kwlookup
