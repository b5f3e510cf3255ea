// SPDX-License-Identifier: MIT
#pragma once

#include "servers/RedisServer.h"
#include "servers/ServiceDefaults.h"
#include "servers/TestAuthority.h"

#include <string>
#include <vector>

/// A server with a key, and with a port for TLS.
class RedisService : public ServiceDefaults {
public:
    RedisService() : m_certificate(m_authority.ForServer()), m_server(Options(m_certificate)) {
        m_server.Load({{"SET", "jdoe@corp.lan", "OK"}});
    }

    kwlookup::RedisServer& GetServer() { return m_server; }
    std::string GetTlsHost() const { return m_server.GetTlsHost(); }
    std::vector<std::string> GetTlsModes() const { return {"require"}; }
    std::string GetNameFault() const { return "address mismatch"; }
    std::string GetType() const { return "redis"; }
    std::string GetLogin() const { return "Password=secret of the test"; }
    std::string GetQuery() const { return "GET $s"; }

private:
    static kwlookup::RedisServer::Options Options(const kwlookup::TestCertificate& certificate) {
        kwlookup::RedisServer::Options options;
        options.password = "secret of the test";
        options.certificate = &certificate;
        return options;
    }

    kwlookup::TestAuthority m_authority;
    kwlookup::TestCertificate m_certificate;
    kwlookup::RedisServer m_server;
};
