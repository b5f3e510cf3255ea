// SPDX-License-Identifier: MIT
#pragma once

#include "servers/ServerPluginTest.h"
#include "servers/TestAuthority.h"

#include <string>

/// For a `Service` whose server can speak TLS. `GetTlsHost()` names its port for that.
template <typename Service>
class ServerTlsTest : public ServerPluginTest<Service> {
protected:
    ~ServerTlsTest() override { this->Server().UseCertificate(Authority().ForServer()); }

    static const kwlookup::TestAuthority& Authority() {
        static const kwlookup::TestAuthority authority;
        return authority;
    }

    std::string TlsList(const std::string& settings) {
        return this->List(this->Get().GetTlsHost(), settings);
    }

    static std::string Trusting(const std::string& mode) {
        return "Tls=" + mode + "|TlsCaFile=" + Authority().GetCaFile();
    }
};

TYPED_TEST_SUITE_P(ServerTlsTest);

TYPED_TEST_P(ServerTlsTest, VerifiesTheCertificate) {
    this->Server().UseCertificate(this->Authority().ForServer());
    for (const std::string& mode : this->Get().GetTlsModes())
        this->ExpectWorks(this->TlsList(this->Trusting(mode)));
    const std::string mode = this->Get().GetTlsModes().front();
    const kwlookup::TestAuthority foreign("Foreign Authority");
    const std::string verified = "certificate";
    EXPECT_THAT(this->FailureOf(this->TlsList("Tls=" + mode + "|TlsCaFile=" + foreign.GetCaFile())),
                testing::HasSubstr(verified));
    EXPECT_THAT(this->FailureOf(this->TlsList("Tls=" + mode)), testing::HasSubstr(verified));
    const std::string port = this->Get().GetTlsHost().substr(this->Get().GetTlsHost().rfind(':'));
    this->ExpectWorks(this->List("localhost" + port, this->Trusting(mode)));

    this->Server().UseCertificate(this->Authority().WithWrongName());
    EXPECT_THAT(this->FailureOf(this->TlsList(this->Trusting(mode))),
                testing::StartsWith(this->Get().GetTlsHost() + ": "));
    this->Server().UseCertificate(this->Authority().Expired());
    EXPECT_THAT(this->FailureOf(this->TlsList(this->Trusting(mode))), testing::HasSubstr(verified));

    RecordingLog::Reset();
    this->ExpectWorks(this->TlsList("Tls=" + mode + "|TlsVerify=no"));
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_WARN),
                testing::Contains(testing::HasSubstr("TlsVerify is off")));
}

TYPED_TEST_P(ServerTlsTest, FilesThatCannotBeReadAreAFault) {
    this->Server().UseCertificate(this->Authority().ForServer());
    const std::string none = this->m_dir.Path("none");
    const std::string mode = this->Get().GetTlsModes().front();
    EXPECT_THAT(this->FailureOf(this->TlsList("Tls=" + mode + "|TlsCaFile=" + none)),
                testing::HasSubstr(none));
    const std::string text = this->m_dir.Write("text", "no certificate");
    EXPECT_THAT(this->FailureOf(this->TlsList("Tls=" + mode + "|TlsCaFile=" + text)),
                testing::HasSubstr(text));
    EXPECT_THAT(this->FailureOf(this->TlsList(this->Trusting(mode) + "|TlsCertFile=" + text)),
                testing::HasSubstr(text));
}

REGISTER_TYPED_TEST_SUITE_P(ServerTlsTest, VerifiesTheCertificate, FilesThatCannotBeReadAreAFault);
