// SPDX-License-Identifier: MIT
#include "kwlog/Logging.h"

#include "kwlog/PasswordName.h"
#include "text/LocaleBytes.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

namespace kwlookup {

namespace {

/// A shorter text would be found in messages by chance.
constexpr std::size_t SHORTEST_SECRET = 4;
constexpr char STARS[] = "***";

/// The secrets of the process. Longer ones come first, since one may contain another.
class Secrets {
public:
    /// Never freed, because messages may be written until the process ends.
    static Secrets& Instance() {
        static Secrets* const secrets = new Secrets;
        return *secrets;
    }

    void Add(const std::string& secret) {
        const auto longer = [](const std::string& a, const std::string& b) {
            return a.size() != b.size() ? a.size() > b.size() : a < b;
        };
        const std::lock_guard<std::mutex> lock(m_lock);
        auto next = std::make_unique<Version>();
        if (m_newest)
            next->secrets = m_newest->secrets;
        const auto place =
            std::lower_bound(next->secrets.begin(), next->secrets.end(), secret, longer);
        if (place != next->secrets.end() && *place == secret)
            return;
        next->secrets.insert(place, secret);
        next->older = std::move(m_newest);
        m_newest = std::move(next);
        m_shown.store(m_newest.get(), std::memory_order_release);
    }

    /// Takes no lock, so that it works in the forked child of a program with threads.
    void Hide(std::string& text) const {
        const Version* const version = m_shown.load(std::memory_order_acquire);
        if (!version)
            return;
        for (const std::string& secret : version->secrets)
            for (std::size_t at = 0; (at = text.find(secret, at)) != std::string::npos;
                 at += sizeof STARS - 1)
                text.replace(at, secret.size(), STARS);
    }

private:
    /// Old versions are never freed, because a thread may be reading them. There are few.
    struct Version {
        std::vector<std::string> secrets;
        std::unique_ptr<const Version> older;
    };

    std::mutex m_lock; ///< held by Add()
    std::unique_ptr<const Version> m_newest;
    std::atomic<const Version*> m_shown{nullptr};
};

bool IsNameByte(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           c == '-' || c == '.';
}

/// `text` begins with a value; `before` is the byte before its setting. Returns the text to show
/// instead of the value, and the value's length. The value ends at a bar. Without one it ends where
/// the item ends, which is "]: " in messages, or the text.
std::pair<std::string, std::size_t> Stars(std::string_view text, char before) {
    std::string stars = STARS;
    if (before == '\'') {
        // KwLookupSharedConf shows a setting without the quoting of its bars.
        const bool ends = !text.empty() && text.back() == '\'';
        return {ends ? stars + '\'' : stars, text.size()};
    }
    bool quoted = before == '"';
    if (quoted)
        stars += '"';
    bool escaped = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (escaped || c == '\\')
            escaped = !escaped;
        else if (c == '"')
            quoted = !quoted;
        else if (c == '|' && !quoted)
            return {stars, i};
    }
    return {stars, std::min(text.rfind("]: "), text.size())};
}

/// Returns `text` with stars in place of the values of settings that are named like passwords.
std::string WithoutPasswords(std::string_view text) {
    std::string shown;
    std::size_t done = 0;
    for (std::size_t equals; (equals = text.find('=', done)) != std::string_view::npos;) {
        std::size_t end = equals;
        while (end > done && (text[end - 1] == ' ' || text[end - 1] == '\t'))
            --end;
        std::size_t begin = end;
        while (begin > done && IsNameByte(text[begin - 1]))
            --begin;
        shown.append(text, done, equals + 1 - done);
        done = equals + 1;
        if (!IsPasswordName(text.substr(begin, end - begin)))
            continue;
        const auto [stars, size] = Stars(text.substr(done), begin > 0 ? text[begin - 1] : '\0');
        shown += stars;
        done += size;
    }
    return shown.append(text, done, std::string_view::npos);
}

/// Does the same in the debug message of ConfParser.
std::string WithoutPasswordSet(const std::string& text) {
    constexpr std::string_view BEGIN = "SetNewVal: variable =[";
    constexpr std::string_view MIDDLE = "] val=[";
    const std::size_t middle = text.find(MIDDLE);
    if (text.compare(0, BEGIN.size(), BEGIN) != 0 || middle == std::string::npos ||
        !IsPasswordName(std::string_view(text).substr(0, middle)))
        return text;
    return text.substr(0, middle + MIDDLE.size()) + STARS + ']';
}

} // namespace

void HideInMessages(const std::string& secret) {
    std::string text = secret;
    const LocaleBytes& bytes = LocaleBytes::Current();
    bytes.Trim(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        text = text.substr(1, text.size() - 2);
        bytes.Trim(text);
    }
    if (text.size() < SHORTEST_SECRET)
        return;
    Secrets::Instance().Add(text);
    if (text.find('\0') == std::string::npos)
        return;
    // Escape NUL bytes as LogText() does.
    std::string visible;
    for (const char c : text)
        visible.append(c == '\0' ? "\\0" : std::string(1, c));
    Secrets::Instance().Add(visible);
}

std::string WithoutSecrets(const std::string& text) {
    std::string shown = WithoutPasswordSet(text);
    Secrets::Instance().Hide(shown);
    return WithoutPasswords(shown);
}

} // namespace kwlookup
