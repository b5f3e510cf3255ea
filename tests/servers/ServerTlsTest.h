// SPDX-License-Identifier: MIT
#pragma once

#include "servers/FaultyProxy.h"
#include "servers/ServerPluginTest.h"
#include "servers/TestAuthority.h"

#include <string>

/// For a `Service` whose server can speak TLS. `GetTlsHost()` names its port for that, and
/// `GetNameFault()` is a part of the reason when a certificate is for another name.
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
    const kwlookup::TestAuthority foreign("Foreign Authority");
    const std::string verified = "certificate";
    const std::string port = this->Get().GetTlsHost().substr(this->Get().GetTlsHost().rfind(':'));
    for (const std::string& mode : this->Get().GetTlsModes()) {
        EXPECT_THAT(
            this->FailureOf(this->TlsList("Tls=" + mode + "|TlsCaFile=" + foreign.GetCaFile())),
            testing::HasSubstr(verified));
        EXPECT_THAT(this->FailureOf(this->TlsList("Tls=" + mode)), testing::HasSubstr(verified));
        this->ExpectWorks(this->List("localhost" + port, this->Trusting(mode)));
    }
    this->Server().UseCertificate(this->Authority().WithWrongName());
    for (const std::string& mode : this->Get().GetTlsModes())
        EXPECT_THAT(this->FailureOf(this->TlsList(this->Trusting(mode))),
                    testing::HasSubstr(this->Get().GetNameFault()));
    this->Server().UseCertificate(this->Authority().Expired());
    for (const std::string& mode : this->Get().GetTlsModes()) {
        EXPECT_THAT(this->FailureOf(this->TlsList(this->Trusting(mode))),
                    testing::HasSubstr(verified));
        RecordingLog::Reset();
        this->ExpectWorks(this->TlsList("Tls=" + mode + "|TlsVerify=no"));
        EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_WARN),
                    testing::Contains(testing::HasSubstr("TlsVerify is off")));
    }
}

TYPED_TEST_P(ServerTlsTest, TimeLimitHoldsInTheHandshakeAndBehindIt) {
    this->Server().UseCertificate(this->Authority().ForServer());
    const std::string host = this->Get().GetTlsHost();
    kwlookup::FaultyProxy proxy(std::stoi(host.substr(host.rfind(':') + 1)));
    for (const std::string& mode : this->Get().GetTlsModes()) {
        proxy.SetFault(kwlookup::FaultyProxy::Fault::None);
        KwLookupHolder holder(this->m_log);
        holder.Init(this->List(proxy.GetHost(), this->Trusting(mode)));
        const std::size_t before = proxy.GetForwardedBytes();
        EXPECT_EQ(this->FailureOf(holder), "found OK");
        const std::size_t length = proxy.GetForwardedBytes() - before;
        holder.Init(this->List(proxy.GetHost(), this->Trusting(mode) + "|" + this->LIMITED));
        // Signatures are not always of the same length, so not at the very end.
        for (const std::size_t bytes : {length / 8, length / 2, length - 16}) {
            SCOPED_TRACE(mode + ", " + std::to_string(bytes));
            proxy.SetFault(kwlookup::FaultyProxy::Fault::Hang, bytes);
            proxy.Disconnect();
            this->ExpectFailsInTime(holder, "no answer in time");
        }
        proxy.SetFault(kwlookup::FaultyProxy::Fault::None);
        this->ExpectWorksInTime(holder);
    }
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

REGISTER_TYPED_TEST_SUITE_P(ServerTlsTest, VerifiesTheCertificate,
                            TimeLimitHoldsInTheHandshakeAndBehindIt,
                            FilesThatCannotBeReadAreAFault);
