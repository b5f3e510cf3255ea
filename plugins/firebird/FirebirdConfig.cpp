// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdConfig.h"

#include "plugins/firebird/FirebirdAttachment.h"

#include <boost/algorithm/string/case_conv.hpp>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <stdexcept>

namespace kwlookup {

namespace {

constexpr std::uint16_t PORT = 3050;

/// The maximum length of a parameter of a connection: one byte holds the length.
constexpr std::size_t LONGEST = 255;

/// Check the name here, because the server ignores an unknown one in some places.
constexpr const char* CHARSETS[] = {
    "ASCII",     "BIG_5",     "CP943C",    "CYRL",       "DOS437",    "DOS737",    "DOS775",
    "DOS850",    "DOS852",    "DOS857",    "DOS858",     "DOS860",    "DOS861",    "DOS862",
    "DOS863",    "DOS864",    "DOS865",    "DOS866",     "DOS869",    "EUCJ_0208", "GB18030",
    "GBK",       "GB_2312",   "ISO8859_1", "ISO8859_13", "ISO8859_2", "ISO8859_3", "ISO8859_4",
    "ISO8859_5", "ISO8859_6", "ISO8859_7", "ISO8859_8",  "ISO8859_9", "KOI8R",     "KOI8U",
    "KSC_5601",  "NEXT",      "NONE",      "OCTETS",     "SJIS_0208", "TIS620",    "UTF8",
    "WIN1250",   "WIN1251",   "WIN1252",   "WIN1253",    "WIN1254",   "WIN1255",   "WIN1256",
    "WIN1257",   "WIN1258"};

std::string CharsetOf(const std::string& text) {
    std::string name = boost::algorithm::to_upper_copy(text);
    if (name.empty() || name == "UTF-8")
        name = "UTF8";
    if (std::find(std::begin(CHARSETS), std::end(CHARSETS), name) == std::end(CHARSETS))
        throw std::invalid_argument("Wrong Charset setting [" + text +
                                    "]: wait a character set that Firebird knows");
    return name;
}

} // namespace

void FirebirdConfig::PostInit() {
    ServerConfig::PostInit();
    CharsetOf(m_charset.GetOwn());
}

ServerSettings FirebirdConfig::GetSettings() const {
    ServerSettings settings = GetServerSettings(PORT, FirebirdAttachment::EMBEDDED);
    if (settings.database.empty())
        throw std::invalid_argument("Database is not set");
    if (settings.tls.mode != TlsSettings::Mode::No)
        throw std::invalid_argument("Firebird has no TLS: firebird.conf says what is encrypted");
    for (const Server& server : settings.servers)
        if (server.IsUnix())
            throw std::invalid_argument("Hosts has a unix socket: Firebird has none");
    const bool is_embedded = GetVal<std::string>("Hosts").empty();
    if (is_embedded)
        settings.servers.front().port = 0;
    else if (settings.user.empty())
        throw std::invalid_argument("User is not set");
    settings.of_type = CharsetOf(m_charset.Get()) + ' ' + m_role.Get();
    for (const std::string* text : std::initializer_list<const std::string*>{
             &settings.user, &settings.password, &m_role.Get()})
        if (text->size() > LONGEST)
            throw std::invalid_argument("User, Password and Role have at most 255 bytes");
    return settings;
}

} // namespace kwlookup
