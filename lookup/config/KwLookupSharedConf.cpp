// SPDX-License-Identifier: MIT
#include "lookup/config/KwLookupSharedConf.h"

#include "conf/ConfParser.h"
#include "text/LocaleBytes.h"

#include <algorithm>
#include <stdexcept>
#include <strings.h>

namespace {

using namespace kwlookup;
using params_t = KwLookupSharedConf::params_t;

constexpr char SKIP_DOMAINS[] = "SkipDomains";
constexpr char ON_ERROR[] = "OnError";

struct is_iless {
    static const char* Name(const params_t& row) { return row.name.c_str(); }
    static const char* Name(const char* name) { return name; }

    template <typename Left, typename Right>
    bool operator()(const Left& left, const Right& right) const {
        return ::strcasecmp(Name(left), Name(right)) < 0;
    }
};

/// Returns the first of the rows called `name`, or their end.
template <typename Rows>
auto RowIn(Rows& rows, const char* name) {
    const auto found = std::equal_range(rows.begin(), rows.end(), name, is_iless());
    return found.first == found.second ? rows.end() : found.first;
}

} // namespace

KwLookupSharedConf::KwLookupSharedConf(const std::string& name)
    : m_log(""), m_name(name), m_skip_domains(m_log, KwObjectHolder::BuiltinOnly),
      m_on_error(false) {}

KwLookupSharedConf::~KwLookupSharedConf() = default;

void KwLookupSharedConf::SetLog(const LogClass& log) {
    m_log = log;
}

std::vector<params_t> KwLookupSharedConf::GetAllParams() {
    static const std::string on_error_default = "ignore";
    std::vector<params_t> rows = GetParams();
    rows.push_back({SKIP_DOMAINS, &m_skip_domains, nullptr, IfConfParser::VT_OBJECT});
    rows.push_back(Param<std::string>(ON_ERROR, m_on_error_str, &on_error_default));
    std::sort(rows.begin(), rows.end(), is_iless());
    return rows;
}

bool KwLookupSharedConf::MakePreInit(boost::shared_ptr<IfConfParser> parser) {
    m_params = GetAllParams();
    for (const params_t& row : m_params)
        if (!row.name.empty())
            parser->Add(m_name + "/" + row.name, row.var, row.type, row.def);
    return true;
}

void KwLookupSharedConf::PostInit() {
    const LocaleBytes& bytes = LocaleBytes::Current();
    const bool exception = bytes.EqualNoCase(m_on_error_str, std::string_view("exception"));
    if (!exception && !m_on_error_str.empty() &&
        !bytes.EqualNoCase(m_on_error_str, std::string_view("ignore")))
        throw std::invalid_argument("Wrong OnError setting [" + m_on_error_str +
                                    "]: wait 'ignore' or 'exception'");
    m_on_error = exception;
}

void KwLookupSharedConf::LoadLocal(const std::vector<std::string>& settings) {
    ConfParser parser(m_log);
    m_params = GetAllParams();
    for (const params_t& row : m_params)
        if (!row.name.empty() && !row.no_local)
            parser.Add(row.name, row.var, row.type, row.def);

    for (const std::string& setting : settings) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos)
            throw std::invalid_argument("error in " + m_name + " params: can`t find '=' in " +
                                        setting);
        std::string name = setting.substr(0, equals);
        std::string value = setting.substr(equals + 1);
        const LocaleBytes& bytes = LocaleBytes::Current();
        bytes.Trim(name);
        bytes.Trim(value);
        if (!parser.SetNewVal(name, value))
            throw std::invalid_argument("error during parse " + m_name + "setting: '" + setting +
                                        "'");
        const auto row = RowIn(m_params, name.c_str());
        if (row == m_params.end())
            throw std::invalid_argument("error in " + m_name + " param parse (2) : '" + setting +
                                        "'");
        row->local_set = true;
    }
    PostInit();
}

bool KwLookupSharedConf::GetOnError() const {
    const KwLookupSharedConf* conf = this;
    for (const KwLookupSharedConf* next; (next = conf->GetGlobal()) != conf; conf = next) {
        const auto row = RowIn(conf->m_params, ON_ERROR);
        if (row != conf->m_params.end() && row->local_set)
            break;
    }
    return conf->m_on_error;
}

const params_t& KwLookupSharedConf::FindRow(const char* name) const {
    const KwLookupSharedConf* conf = this;
    for (;;) {
        const KwLookupSharedConf* next = conf->GetGlobal();
        const auto row = RowIn(conf->m_params, name);
        const bool present = row != conf->m_params.end();
        if (present && (next == conf || row->local_set))
            return *row;
        if (next == conf)
            throw std::invalid_argument(std::string("can not find : '") + name + "' option");
        conf = next;
    }
}

template const KwDomainsLookup& KwLookupSharedConf::GetVal<KwDomainsLookup>(const char* name) const;
