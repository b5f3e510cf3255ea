// SPDX-License-Identifier: MIT
#include "plugins/mysql/MysqlConnector.h"

#include "plugins/mysql/MysqlWait.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mysql/plugin_auth.h>
#include <openssl/ssl.h>
#include <stdexcept>

namespace kwlookup {

const char* const TLS_LOGIN = "kwlookup_tls";

namespace {

/// Begin a login with TLS. For the connector this is the method of authentication to try first. It
/// is called when the server's capabilities are known and nothing about the user has been sent.
int BeginLogin(MYSQL_PLUGIN_VIO* server, MYSQL* mysql) {
    MysqlWait& wait = MysqlWait::Current();
    // The connector would continue in plain text.
    if ((mysql->server_capabilities & CLIENT_SSL) == 0) {
        wait.Fail("TLS: the server does not offer it");
        return CR_ERROR;
    }
    // The connector knows only the resolved address, and would expect a certificate for that.
    char* const name = ::strdup(wait.GetTlsName().c_str());
    if (!name)
        return CR_ERROR;
    std::free(mysql->host);
    mysql->host = name;
    // Otherwise OpenSSL would wait in its own calls.
    const int socket = static_cast<int>(::mysql_get_socket(mysql));
    ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
    wait.TlsBegins();
    // Starts TLS and sends the user's name. The server does not know this method, and answers with
    // the method of the user's account.
    unsigned char* packet = nullptr;
    return server->read_packet(server, &packet) < 0 ? CR_ERROR : CR_OK_HANDSHAKE_COMPLETE;
}

/// A method of authentication, copied from the connector's client_plugin.h. Debian's cannot be
/// included, because it includes a missing header.
struct Method {
    static constexpr int TYPE = 2;
    static constexpr unsigned INTERFACE = 0x0100;

    st_mysql_client_plugin head;
    int (*authenticate)(MYSQL_PLUGIN_VIO* server, MYSQL* mysql);
};

bool RegisterLogin() {
    static Method method = {{Method::TYPE,
                             Method::INTERFACE,
                             TLS_LOGIN,
                             "kwlookup",
                             "begins a login in TLS",
                             {1, 0, 0},
                             "MIT",
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr},
                            BeginLogin};
    const std::unique_ptr<MYSQL, decltype(&::mysql_close)> mysql(::mysql_init(nullptr),
                                                                 ::mysql_close);
    return mysql && ::mysql_client_register_plugin(mysql.get(), &method.head);
}

} // namespace

void StartConnector() {
    static const bool started = [] {
        // Other threads may still close connections at exit.
        ::OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr);
        struct sigaction before;
        ::sigaction(SIGPIPE, nullptr, &before);
        const bool done = ::mysql_library_init(0, nullptr, nullptr) == 0;
        ::sigaction(SIGPIPE, &before, nullptr);
        return done && RegisterLogin();
    }();
    if (!started)
        throw std::runtime_error("MariaDB's connector does not start");
}

const MARIADB_CHARSET_INFO* FindCharset(const std::string& name) {
    StartConnector();
    const MARIADB_CHARSET_INFO* charset = nullptr;
    ::mariadb_get_infov(nullptr, MARIADB_CHARSET_NAME, &charset, name.c_str());
    return charset;
}

} // namespace kwlookup
