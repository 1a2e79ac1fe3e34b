// One nginx process in the foreground, configured from a text of our own: nothing of the machine's is used.
#include "support/NginxServer.h"

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
    client_body_temp_path FOLDER/body; proxy_temp_path FOLDER/proxy;
    fastcgi_temp_path FOLDER/fastcgi; uwsgi_temp_path FOLDER/uwsgi; scgi_temp_path FOLDER/scgi;
    log_format parts "$server_protocol $body_bytes_sent $connection $status";
    limit_conn_zone $server_port zone=places:1m;
    access_log FOLDER/access.log parts;
    default_type application/octet-stream;
    sendfile on;

    server {
        listen ADDRESS:PLAIN_PORT;
        listen ADDRESS:TLS_PORT ssl;
        listen ADDRESS:HTTP2_PORT ssl http2;
        ssl_certificate FOLDER/certificate.pem;
        ssl_certificate_key FOLDER/key.pem;
        root FOLDER/files;
        location /three/ { alias FOLDER/files/; limit_conn places 3; limit_rate 1m;
                           sendfile_max_chunk 64k; }
        location /untagged/ { alias FOLDER/files/; etag off; }
        location = /session {
            add_header Set-Cookie "sid=42; Path=/; HttpOnly";
            return 303 /members/;
        }
        location /members/ {
            index index.html;
            if ($cookie_sid != "42") { return 403 "log in first"; }
        }
        location /private/ {
            auth_basic "private";
            auth_basic_user_file FOLDER/users;
        }
        location = /posted {
            if ($request_method != POST) { return 405; }
            add_header Content-Disposition 'attachment; filename="posted.bin"';
            return 200 "what was posted for";
        }
    }
}
)";

} // namespace

NginxServer::NginxServer() {
    m_folder.write("nginx.conf", configuration());
    m_folder.write("users", "user:{PLAIN}password\n");
    runProgram({programPath("openssl", "openssl"), "req", "-x509", "-newkey", "ec", "-pkeyopt",
                "ec_paramgen_curve:P-256", "-nodes", "-days", "30", "-subj", "/CN=elsewhere.example",
                "-keyout", m_folder.path("key.pem"), "-out", m_folder.path("certificate.pem")});
    m_process.start({programPath("nginx", "nginx"), "-p", m_folder.path(), "-e", m_folder.path("error.log"),
                     "-c", m_folder.path("nginx.conf")},
                    m_folder.path("error.log"), {m_port, m_tlsPort, m_http2Port});
}

std::string NginxServer::configuration() const {
    return QString::fromUtf8(kConfiguration)
        .replace("FOLDER", QString::fromStdString(m_folder.path()))
        .replace("ADDRESS", QString::fromStdString(loopbackAddress()))
        .replace("PLAIN_PORT", QString::number(m_port))
        .replace("TLS_PORT", QString::number(m_tlsPort))
        .replace("HTTP2_PORT", QString::number(m_http2Port))
        .toStdString();
}

std::string NginxServer::address(const std::string& scheme, int port, const std::string& path) {
    return fmt::format("{}://{}:{}{}", scheme, loopbackAddress(), port, path);
}

std::vector<NginxServer::Request> NginxServer::requests() const {
    std::vector<Request> all;
    std::istringstream log(contentOf(m_folder.path("access.log")));
    for (Request request;
         log >> request.protocol >> request.bodyBytes >> request.connection >> request.status;)
        all.push_back(request);
    return all;
}

} // namespace tarvo::test
