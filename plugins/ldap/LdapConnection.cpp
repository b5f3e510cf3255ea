// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapConnection.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "plugins/ldap/LdapReferral.h"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <locale>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace kwlookup {
namespace {

/// So that servers that refer to each other do not make an endless search.
constexpr int MOST_REFERRALS = 16;
/// Errors of servers are short; a longer text does not help in a log.
constexpr std::size_t LONGEST_TEXT = 200;

/// True for failures after which another server may answer.
bool IsOfServer(int code) {
    switch (code) {
    case LDAP_TIMELIMIT_EXCEEDED:
    case LDAP_BUSY:
    case LDAP_UNAVAILABLE:
    case LDAP_OTHER:
        return true;
    default:
        return false;
    }
}

/// Frees memory of libldap.
struct FreeMemory {
    void operator()(void* memory) const { ::ldap_memfree(memory); }
};
struct FreeTexts {
    void operator()(char** texts) const { ::ldap_memvfree(reinterpret_cast<void**>(texts)); }
};
using Texts = std::unique_ptr<char*, FreeTexts>;

std::vector<std::string> VectorOf(const Texts& texts) {
    std::vector<std::string> strings;
    for (char** text = texts.get(); text && *text; ++text)
        strings.emplace_back(*text);
    return strings;
}

std::string_view ViewOf(const berval& text) {
    return text.bv_val ? std::string_view(text.bv_val, text.bv_len) : std::string_view();
}

/// True if the server's name of an attribute is `wanted`, perhaps with options.
bool IsNamed(std::string_view name, const std::string& wanted) {
    return boost::algorithm::istarts_with(name, wanted, std::locale::classic()) &&
           (name.size() == wanted.size() || name[wanted.size()] == ';');
}

} // namespace

/// The attributes of an entry in a message.
class LdapConnection::Entry {
public:
    struct Attribute {
        std::string_view name;
        std::unique_ptr<berval, FreeMemory> values; ///< an array, with a null pointer at its end
    };

    /// Throws what `transport` throws if the message is not an entry.
    Entry(LdapTransport& transport, LDAPMessage& message) {
        BerElement* ber = nullptr;
        berval name{};
        int code = ::ldap_get_dn_ber(transport.Get(), &message, &ber, &name);
        const std::unique_ptr<BerElement, void (*)(BerElement*)> reader(
            ber, [](BerElement* element) { ::ber_free(element, 0); });
        for (;;) {
            if (code != LDAP_SUCCESS)
                transport.Fail(code);
            berval* values = nullptr;
            code = ::ldap_get_attribute_ber(transport.Get(), &message, ber, &name, &values);
            std::unique_ptr<berval, FreeMemory> owned(values);
            if (code == LDAP_SUCCESS && !name.bv_val)
                break;
            attributes.push_back({ViewOf(name), std::move(owned)});
        }
    }

    std::vector<Attribute> attributes;
};

LdapConnection::LdapConnection(const Server& server, const ServerSettings& settings,
                               Deadline deadline)
    : m_settings(settings), m_transport(server, deadline) {
    if (!server.IsUnix())
        StartTls(server);
    Login();
}

void LdapConnection::StartTls(const Server& server) {
    if (m_settings.tls.mode == TlsSettings::Mode::No)
        return;
    if (m_settings.tls.mode == TlsSettings::Mode::StartTls) {
        int id = 0;
        const int code = ::ldap_extended_operation(m_transport.Get(), LDAP_EXOP_START_TLS, nullptr,
                                                   nullptr, nullptr, &id);
        if (code != LDAP_SUCCESS)
            m_transport.Fail(code);
        const Result result = ReceiveResult(id);
        if (result.code != LDAP_SUCCESS)
            throw ServerFault("StartTLS: " + result.text);
    }
    m_transport.StartTls(m_settings.tls, server);
}

void LdapConnection::Login() {
    const bool is_external = m_settings.of_type == LdapConfig::EXTERNAL;
    if (!is_external && m_settings.user.empty())
        return;
    const std::string& password = m_settings.password;
    berval secret{password.size(), const_cast<char*>(password.data())};
    int id = 0;
    const int code = ::ldap_sasl_bind(m_transport.Get(), m_settings.user.c_str(),
                                      is_external ? LdapConfig::EXTERNAL : LDAP_SASL_SIMPLE,
                                      &secret, nullptr, nullptr, &id);
    if (code != LDAP_SUCCESS)
        m_transport.Fail(code);
    const Result result = ReceiveResult(id);
    if (result.code != LDAP_SUCCESS)
        throw ServerFault("login: " + result.text);
}

void LdapConnection::Ask(const LdapQuery& query, const std::string& question, Deadline deadline,
                         Answer& answer) {
    int followed = 0;
    Search(query, {LdapQuery::BaseOf(question), query.GetScope(), LdapQuery::FilterOf(question)},
           deadline, answer, followed);
}

void LdapConnection::Search(const LdapQuery& query, const Request& request, Deadline deadline,
                            Answer& answer, int& followed) {
    m_transport.SetDeadline(deadline);
    LDAP* const ldap = m_transport.Get();
    const int dereference = query.GetDereference();
    ::ldap_set_option(ldap, LDAP_OPT_DEREF, &dereference);
    int id = 0;
    const int code = ::ldap_search_ext(ldap, request.base, request.scope, request.filter,
                                       query.GetAttributeList(), 0, nullptr, nullptr, nullptr,
                                       query.GetSizeLimit(), &id);
    if (code == LDAP_FILTER_ERROR)
        throw QuestionFault("wrong filter in a referral");
    if (code != LDAP_SUCCESS)
        m_transport.Fail(code);

    std::vector<std::vector<std::string>> elsewhere;
    Message message = Receive(id);
    for (; ::ldap_msgtype(message.get()) != LDAP_RES_SEARCH_RESULT; message = Receive(id)) {
        if (::ldap_msgtype(message.get()) == LDAP_RES_SEARCH_ENTRY)
            AddEntry(*message, query, answer);
        else if (::ldap_msgtype(message.get()) == LDAP_RES_SEARCH_REFERENCE)
            elsewhere.push_back(ReadReference(*message));
    }
    const Result result = ReadResult(*message);
    message.reset();
    if (result.code == LDAP_REFERRAL)
        elsewhere.push_back(result.urls);
    else if (IsOfServer(result.code))
        throw ServerFault(result.text);
    else if (result.code != LDAP_SUCCESS &&
             !(result.code == LDAP_NO_SUCH_OBJECT && query.BaseHasCodes()))
        throw QuestionFault(result.text);
    for (const std::vector<std::string>& urls : elsewhere) {
        if (urls.empty())
            throw QuestionFault("a referral to nowhere");
        if (!query.FollowsReferrals())
            throw QuestionFault("the answer is at " + urls.front().substr(0, LONGEST_TEXT) +
                                ", and Referrals is off");
        Follow(urls, query, request, deadline, answer, followed);
    }
}

void LdapConnection::Follow(const std::vector<std::string>& urls, const LdapQuery& query,
                            const Request& request, Deadline deadline, Answer& answer,
                            int& followed) {
    std::string reasons;
    for (const std::string& url : urls) {
        if (++followed > MOST_REFERRALS)
            throw QuestionFault("more than " + std::to_string(MOST_REFERRALS) + " referrals");
        const auto named = [&url](const std::exception& error) {
            return url.substr(0, LONGEST_TEXT) + ": " + error.what();
        };
        try {
            const LdapReferral referral(url, m_settings);
            LdapConnection connection(referral.server, referral.settings,
                                      deadline.Within(m_settings.connect_timeout));
            const Request next{referral.base ? referral.base->c_str() : request.base,
                               referral.scope.value_or(request.scope),
                               referral.filter ? referral.filter->c_str() : request.filter};
            try {
                return connection.Search(query, next, deadline, answer, followed);
            } catch (const std::runtime_error& error) {
                // The answer may have a part of this server's already, so no other server is asked.
                throw QuestionFault(named(error));
            }
        } catch (const ServerFault& fault) {
            reasons += (reasons.empty() ? "" : "; ") + named(fault);
        } catch (const std::invalid_argument& wrong_url) {
            reasons += (reasons.empty() ? "" : "; ") + named(wrong_url);
        }
    }
    throw QuestionFault(reasons);
}

LdapConnection::Message LdapConnection::Receive(int id) {
    LDAPMessage* message = nullptr;
    const int type = ::ldap_result(m_transport.Get(), id, LDAP_MSG_ONE, nullptr, &message);
    Message received(message);
    if (type <= 0) {
        int code = LDAP_LOCAL_ERROR;
        ::ldap_get_option(m_transport.Get(), LDAP_OPT_RESULT_CODE, &code);
        m_transport.Fail(code);
    }
    return received;
}

LdapConnection::Result LdapConnection::ReadResult(LDAPMessage& message) {
    Result result{};
    char* text = nullptr;
    char** urls = nullptr;
    const int failure = ::ldap_parse_result(m_transport.Get(), &message, &result.code, nullptr,
                                            &text, &urls, nullptr, 0);
    const std::unique_ptr<char, FreeMemory> owned_text(text);
    const Texts owned_urls(urls);
    if (failure != LDAP_SUCCESS)
        m_transport.Fail(failure);
    result.text = ::ldap_err2string(result.code);
    if (text && *text != '\0')
        result.text += ": " + std::string(text).substr(0, LONGEST_TEXT);
    result.urls = VectorOf(owned_urls);
    return result;
}

std::vector<std::string> LdapConnection::ReadReference(LDAPMessage& message) {
    char** urls = nullptr;
    const int failure = ::ldap_parse_reference(m_transport.Get(), &message, &urls, nullptr, 0);
    const Texts owned(urls);
    if (failure != LDAP_SUCCESS)
        m_transport.Fail(failure);
    return VectorOf(owned);
}

void LdapConnection::AddEntry(LDAPMessage& message, const LdapQuery& query, Answer& answer) {
    answer.AddRow();
    if (query.GetAttributes().empty())
        return;
    const Entry entry(m_transport, message);
    const std::vector<std::string>& all_wanted = query.GetAttributes();
    for (const Entry::Attribute& attribute : entry.attributes) {
        const auto is_named = [&](const std::string& wanted) {
            return IsNamed(attribute.name, wanted);
        };
        // Do not silently lose values under another name of the attribute, or those that a server
        // leaves out because there are many.
        if (std::none_of(all_wanted.begin(), all_wanted.end(), is_named))
            throw std::runtime_error("the server calls an attribute '" +
                                     std::string(attribute.name) + "', which Attributes lacks");
        if (boost::algorithm::icontains(attribute.name, ";range=", std::locale::classic()))
            throw std::runtime_error("more values than the server gives at once: '" +
                                     std::string(attribute.name) + "'");
    }
    for (const std::string& wanted : all_wanted)
        for (const Entry::Attribute& attribute : entry.attributes)
            if (IsNamed(attribute.name, wanted))
                for (const berval* value = attribute.values.get(); value && value->bv_val; ++value)
                    answer.AddValue(ViewOf(*value));
}

} // namespace kwlookup
