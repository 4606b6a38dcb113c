#!/bin/bash
# The tours for operators and for authors of plug-ins, followed to the letter: the packages are installed by the package
# manager on a copy of this system, which is thrown away, and there each page's commands are run, and what they print is
# compared with what the page shows (lib/tour.sh). Of the system only the service manager is played by a script.
# Other tours: ToursTest.sh PAGE...
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
source "$root/tests/scripts/lib/copy.sh"
source "$root/tests/scripts/lib/tour.sh"

# What the copy lacks: a service manager that runs. It does for the unit of the packages what matters to a reader.
service_manager() {
    cat <<'SCRIPT'
#!/bin/bash
# systemctl ACTION zel-server
set -eu
log=/var/log/zel-server.log pid=/run/zel-server.pid ready=/run/zel-server.ready
unit=/usr/lib/systemd/system/zel-server.service
[[ -e $unit ]] || unit=/lib/systemd/system/zel-server.service
stop() {
    [[ -e $pid ]] || return 0
    kill -TERM "$(<"$pid")"
    for ((look = 0; look < 600; ++look)); do
        kill -0 "$(<"$pid")" 2>/dev/null || break
        sleep 0.1
    done
    ((look < 600)) || { echo "the server does not stop" >&2; return 1; }
    rm "$pid"
}
start() {
    [[ ! -e $pid ]] || return 0
    local ZEL_SERVER_OPTIONS= command line
    read -ra command <<<"$(sed -n 's/^ExecStart=//p' "$unit" | sed "s/\$ZEL_SERVER_OPTIONS//")"
    rm -f "$ready"
    mkfifo "$ready"
    while IFS= read -r line; do export "${line?}"; done < <(sed -n 's/^Environment=//p' "$unit")
    umask 0007
    setsid setpriv --reuid zel --regid zel --init-groups --bounding-set -all,+lease --inh-caps +lease \
        --ambient-caps +lease "${command[@]}" >"$ready" 2>>"$log" </dev/null &
    echo $! >"$pid"
    IFS= read -r -t 60 line <"$ready"
    [[ $line == "zel-server: ready" ]]
}
case ${*: -1} in zel-server | zel-server.service) ;; *) exit 1 ;; esac
case $1 in
    enable | start) start ;;
    restart) stop; start ;;
    stop) stop ;;
    is-active) [[ -e $pid ]] ;;
    disable) stop ;;
    *) exit 1 ;;
esac
SCRIPT
}
# journalctl -u zel-server -g TEXT -n N
journal() {
    cat <<'SCRIPT'
#!/bin/bash
text=. lines=1000
while (($#)); do
    case $1 in
        -u) shift ;;
        -g) text=$2; shift ;;
        -n) lines=$2; shift ;;
    esac
    shift
done
grep -e "$text" /var/log/zel-server.log | tail -n "$lines"
SCRIPT
}

# Inside the copy.
follow_there() { # folder with everything, name of the page
    local bin=/usr/local/bin
    cp "$1/systemctl" "$1/journalctl" "$bin/"
    # Root is who installs, and root is who follows.
    printf '#!/bin/sh\nexec "$@"\n' >"$bin/sudo"
    # No network is asked: what the packages need of the system is there.
    printf '#!/bin/sh\nshift\nexec dpkg -i "$@"\n' >"$bin/apt"
    chmod +x "$bin"/*
    mkdir -p ~root/tour/scripts
    cd ~root/tour
    cp -r "$1/build" .
    # The packages are made already.
    # shellcheck disable=SC2016 # expanded by the script
    printf '#!/bin/sh\n[ "$1" = debian ]\n' >scripts/package
    chmod +x scripts/package
    export USER=root HOME=~root LANGUAGE=en TERM=dumb
    if [[ $2 != tour-operator ]]; then # it begins with the installation itself
        dpkg -i build/packages/*.deb >/dev/null
        chmod go-w .
    fi
    tour_run "$1/blocks/$2"
    local left
    left=$(jobs -p)
    # shellcheck disable=SC2086 # one word for each
    [[ -z $left ]] || kill $left
    systemctl stop zel-server
}

follow() { # page
    local name code=0
    name=$(basename -- "$1" .md)
    tour_blocks "$1" "$work/moved/blocks/$name"
    in_copy "$(declare -f follow_there tour_run tour_beside tour_wait tour_prints tour_failed)
        follow_there /srv/zel-tour $name" >"$work/$name.log" 2>&1 </dev/null || code=$?
    if ((code == 77)); then
        echo "the tours were not followed: this system can't be copied for it"
        exit 77
    elif ((code != 0)) || ! grep -q '^[0-9]* blocks followed' "$work/$name.log"; then
        cat "$work/$name.log"
        complain "$1 does not say what happens, exit code $code"
    else
        echo "$name: $(tail -n 1 "$work/$name.log")"
    fi
}

if [[ $(id -u) != 0 ]]; then
    echo "the tours were not followed: that takes root"
    exit 77
fi
pages=("$@")
((${#pages[@]})) || pages=("$root/docs/tour-operator.md" "$root/docs/tour-plugin.md")
make_packages
service_manager >"$work/moved/systemctl"
journal >"$work/moved/journalctl"
chmod -R a+rX "$work/moved"
for page in "${pages[@]}"; do
    follow "$page"
done
((failures == 0))
