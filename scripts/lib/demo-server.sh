# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# nginx as the demonstration's file server, on a free port of this machine, as whatever user runs it. Needs common.sh.

server_pid=
# shellcheck disable=SC2034 # for the script that starts the server
server_port=

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

write_server_configuration() { # FOLDER FILES PORT
    local folder=$1 files=$2 port=$3 user=
    # Started by root, its workers would run as a user who cannot read this folder.
    ((EUID != 0)) || user='user root;'
    cat >"$folder/nginx.conf" <<CONFIGURATION
$user
daemon off;
worker_processes 1;
pid "$folder/nginx.pid";
error_log "$folder/nginx-error.log";
events { worker_connections 256; }
http {
    log_format demo '\$status \$body_bytes_sent \$request_method \$request_uri "\$http_range"';
    access_log "$folder/nginx-access.log" demo;
    client_body_temp_path "$folder/nginx-body";
    proxy_temp_path "$folder/nginx-proxy";
    fastcgi_temp_path "$folder/nginx-fastcgi";
    uwsgi_temp_path "$folder/nginx-uwsgi";
    scgi_temp_path "$folder/nginx-scgi";
    sendfile on;
    server {
        listen 127.0.0.1:$port;
        root "$files";
    }
}
CONFIGURATION
}

server_answers() { # PORT
    curl -s -o /dev/null --max-time 5 "http://127.0.0.1:$1/"
}

# start_server FOLDER FILES PORT: true when it serves.
start_server() {
    local folder=$1 files=$2 port=$3
    write_server_configuration "$folder" "$files" "$port"
    # Debian keeps nginx where only administrators look for programs.
    PATH=$PATH:/usr/sbin nginx -e "$folder/nginx-error.log" -p "$folder" -c "$folder/nginx.conf" &
    server_pid=$!
    while kill -0 "$server_pid" 2>/dev/null; do
        if server_answers "$port"; then
            # Somebody else's server may have taken the port in the meantime.
            kill -0 "$server_pid" 2>/dev/null && server_port=$port && return 0
        fi
        sleep 0.05
    done
    wait "$server_pid" 2>/dev/null || true
    server_pid=
    return 1
}

stop_server() {
    [[ -n $server_pid ]] || return 0
    kill "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
    server_pid=
}

# Lines of the access log so far, to be given to server_bytes_since later.
server_log_lines() { wc -l <"$1/nginx-access.log"; }

# server_bytes_since FOLDER LINES: bytes of file content sent after that line.
server_bytes_since() {
    tail -n "+$(($2 + 1))" "$1/nginx-access.log" | awk '$1 == 200 || $1 == 206 { sum += $2 } END { printf "%d", sum }'
}
