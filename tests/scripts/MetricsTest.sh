#!/bin/bash
# What zel-server --metrics writes is what Prometheus reads, and so are the alerts: as its own tool sees it. That comes with
# the package prometheus, which nothing installs for this: it brings a service as well.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
command -v promtool >/dev/null || { echo "skipped: there is no promtool (package prometheus)"; exit 77; }
bin=$build/bin

checked() { # what, command...
    local what=$1 said
    shift
    # A remark is no failure to the tool.
    said=$("$@" 2>&1) || complain "$what: $said"
    [[ $said != *" should "* && $said != *"error"* ]] || complain "$what: $said"
}

# A label that has to be escaped.
output="$work/out\"put\\"
mkdir "$work/requests" "$output"
"$bin/zel-server" --request-dir "$work/requests" --output-dir "$output" --components "$bin/plugins" \
    --components "$bin/test-plugins" --metrics "$work/zel.prom" >"$work/server.log" 2>&1 &
server=$!
for _ in {1..600}; do
    [[ ! -s $work/zel.prom ]] || break
    sleep 0.1
done
[[ -s $work/zel.prom ]] || stop "no metrics were written: $(cat "$work/server.log")"
zel=("$bin/zel" --request-dir "$work/requests" --output-dir "$output")
printf '<Request><Task Type="Echo"/></Request>' >"$work/good.drq"
printf '<Request><Task Type="NoSuchTask"/></Request>' >"$work/bad.drq"
"${zel[@]}" send "$work/good.drq" --wait >/dev/null 2>&1 || complain "the good request failed"
! "${zel[@]}" send "$work/bad.drq" --wait >/dev/null 2>&1 || complain "the bad request did not fail"
failed='/out\"put\\",type="unknown",outcome="failed"} 1'
for _ in {1..600}; do
    ! grep -qF "$failed" "$work/zel.prom" || break
    sleep 0.1
done
grep -qF "$failed" "$work/zel.prom" || complain "the failure is not counted: $(cat "$work/zel.prom")"
kill -TERM "$server"
wait "$server" || complain "the server ended with $?"
server=
check_metrics() { promtool check metrics <"$work/zel.prom"; }
checked "the metrics" check_metrics
cd "$root/packaging/monitoring"
checked "the alerts" promtool check rules zel-alerts.yml
checked "their test" promtool test rules zel-alerts.test.yml

# The dashboard asks for what there is.
python3 -c 'import json, sys; json.load(open(sys.argv[1]))' zel-dashboard.json || complain "the dashboard is no JSON"
while read -r name; do
    grep -q "^# TYPE \(${name%_bucket}\) " "$work/zel.prom" || complain "the dashboard or an alert asks for $name, which no server has"
done < <(grep -oh 'zel_[a-z_]*' zel-dashboard.json zel-alerts.yml | sort -u)
((failures == 0))
