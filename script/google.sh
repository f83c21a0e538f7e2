# shellcheck shell=bash
# For scripts that run within the sandbox, to be sourced: the stand-in of Google as a process of theirs, with the pid
# $google.

# require_sandbox: ends a script that script/sandbox has not started, before it works on the machine's own /data.
require_sandbox() {
    [ -n "${ORIN_LOGGER_DIR-}" ] || { echo "$0: --within is for script/sandbox only" >&2 && exit 2; }
}

# start_google FOLDER [ARG...]: starts it and waits until it listens. FOLDER/log gets its requests. Returns 1, with a
# word on standard error, when it does not come up.
start_google() {
    local folder=$1 tries=0
    shift
    mkdir -p "$folder"
    rm -f "$folder"/{ready,log}
    "${google_standin:-google_standin}" --ca-dir /data/certs/trusted/ --log "$folder/log" \
        --ready-file "$folder/ready" "$@" </dev/null &
    google=$!
    until [ -e "$folder/ready" ]; do
        if ! kill -0 "$google" 2>/dev/null || [ $((tries += 1)) -gt 400 ]; then
            echo "the stand-in of Google has ended at its start, or is not ready after 20 seconds" >&2
            stop_google
            return 1
        fi
        sleep 0.05
    done
}

stop_google() {
    [ -n "${google-}" ] || return 0
    kill -TERM "$google" 2>/dev/null || true
    wait "$google" 2>/dev/null || true
    google=''
}
