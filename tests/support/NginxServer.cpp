// One nginx process in the foreground, configured from a text of our own: nothing of the machine's is used.
#include "support/NginxServer.h"

#include "support/SampleData.h"

#include <filesystem>
#include <sstream>

#include <QString>
#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>

namespace tarvo::test {
namespace {

constexpr const char* kConfiguration = R"(
daemon off;
master_process off;
pid FOLDER/nginx.pid;
error_log FOLDER/error.log;
events { worker_connections 1024; }
http {
    client_body_temp_path FOLDER/body;
    proxy_temp_path FOLDER/proxy;
    fastcgi_temp_path FOLDER/fastcgi;
    uwsgi_temp_path FOLDER/uwsgi;
    scgi_temp_path FOLDER/scgi;
    log_format parts "$request_method\t$request_uri\t$server_protocol\t$status\t$body_bytes_sent\t$connection\t$http_range";
    access_log FOLDER/access.log parts;
    types { text/html html; application/pdf pdf; application/zip zip; image/jpeg jpg; }
    default_type application/octet-stream;
    sendfile on;

    server {
        listen ADDRESS:PLAIN_PORT;
        listen ADDRESS:TLS_PORT ssl;
        listen ADDRESS:HTTP2_PORT ssl http2;
        ssl_certificate FOLDER/certificate.pem;
        ssl_certificate_key FOLDER/key.pem;
        root FOLDER/files;

        location /auth/ {
            alias FOLDER/files/;
            auth_basic "tarvo";
            auth_basic_user_file FOLDER/passwords;
        }
        location /noranges/ { alias FOLDER/files/; max_ranges 0; }
        location /unknown/ {
            alias FOLDER/files/;
            sub_filter_types *;
            sub_filter "a text that no sample file has" "";
        }
        location /slow/ { alias FOLDER/files/; limit_rate SLOW_RATE; }
        location /redirect/ { rewrite ^/redirect/(.*)$ /$1 redirect; }
        location /html/ { alias FOLDER/files/; types { } default_type text/html; }
    }
}
)";

} // namespace

NginxServer::NginxServer(std::int64_t slowRate)
    : m_port(freePort()), m_tlsPort(freePort()), m_http2Port(freePort()),
      m_program(programPath("nginx", "nginx")) {
    std::filesystem::create_directory(m_folder.path("files"));
    m_folder.write("passwords", "bob:{PLAIN}secret\n");
    m_folder.write("nginx.conf", configuration(slowRate));
    runProgram({programPath("openssl", "openssl"), "req", "-x509", "-newkey", "ec", "-pkeyopt",
                "ec_paramgen_curve:P-256", "-nodes", "-days", "30", "-subj", "/CN=elsewhere.example",
                "-keyout", m_folder.path("key.pem"), "-out", m_folder.path("certificate.pem")});
    start();
}

std::string NginxServer::configuration(std::int64_t slowRate) const {
    return QString::fromUtf8(kConfiguration)
        .replace("FOLDER", QString::fromStdString(m_folder.path()))
        .replace("ADDRESS", QString::fromStdString(loopbackAddress()))
        .replace("PLAIN_PORT", QString::number(m_port))
        .replace("TLS_PORT", QString::number(m_tlsPort))
        .replace("HTTP2_PORT", QString::number(m_http2Port))
        .replace("SLOW_RATE", QString::number(slowRate))
        .toStdString();
}

void NginxServer::start() {
    m_process.start({m_program, "-p", m_folder.path(), "-e", m_folder.path("error.log"), "-c",
                     m_folder.path("nginx.conf")},
                    m_folder.path("error.log"), {m_port, m_tlsPort, m_http2Port});
}

void NginxServer::addFile(const std::string& name, std::int64_t size) {
    writeSampleFile(m_folder.path("files/" + name), size);
}

std::string NginxServer::address(const std::string& scheme, int port, const std::string& path) {
    return fmt::format("{}://{}:{}{}", scheme, loopbackAddress(), port, path);
}

std::vector<NginxServer::Request> NginxServer::requests() const {
    std::vector<Request> all;
    std::istringstream lines(contentOf(m_folder.path("access.log")));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream parts(line);
        Request request;
        if (parts >> request.method >> request.target >> request.protocol >> request.status >>
            request.bodyBytes >> request.connection >> request.range)
            all.push_back(request);
    }
    return all;
}

} // namespace tarvo::test
