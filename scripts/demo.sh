#!/usr/bin/env bash
# One start of the launcher on this machine, with everything it talks to:
#
#   bash scripts/install-deps.sh && bash scripts/demo.sh
#
# Builds the launcher (build/demo) with deployment values this script serves,
# prepares an application folder (demo-run/app: the launcher and its crash
# watcher, the sample module package in "Modulos", the edition executable
# KelvaERP.exe and its configuration file kelvaERP.ini), then starts on
# loopback a private MariaDB with the ERP tables and a company, the cloud
# rules service with a few rules for that company, and the update server
# offering one newer installer. The launcher runs in verified mode: it carries
# the public key of a minisign key pair the demo makes (build/demo/signing),
# the newer installer is signed with it, and a third one, signed and then
# altered on the server, is refused. Runs the launcher (the desktop backend when
# DISPLAY is set, else the console one with standard input from /dev/null)
# and prints what it did; then starts it once more as after the update, when
# it opens its main window (with a display, until you close it or for at most
# ROTALIS_DEMO_WINDOW_SECONDS, default 60). Every server is stopped when the
# script ends, however it ends.
#
# Exit status 0 only when both starts ended normally, rules reached table nrt,
# the newer installer ran and the altered one was neither kept nor run.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=$root/build/demo
run=$root/demo-run
app=$run/app

cloud_port=8443
update_port=8063
token=rotalis-demo-token
pki=$build/test-pki
cnpj=12.345.678/0001-90
# The launcher is 25.28.501.14: installer numbers are the digits of the whole
# installer path, so 25.28.502.10 (252850210) is newer and 25.28.500.10 is not.
newer=Setup_25.28.502.10.exe
older=Setup_25.28.500.10.exe
# Signed by the publisher, then changed on the server: must never run.
tampered=Setup_25.28.503.10.exe
signing=$build/signing

step() { printf '\n==> %s\n' "$*"; }
die() {
  echo "demo: $*" >&2
  exit 1
}

# Free to listen on: connections of a server that just stopped, still in
# TIME_WAIT, do not count.
port_is_free() {
  python3 -c 'import socket, sys
s = socket.socket()
s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
try:
    s.bind(("127.0.0.1", int(sys.argv[1])))
except OSError:
    sys.exit(1)' "$1"
}

# Waits up to 30 s for a file that the server of process PID writes once it
# is ready; false when it did not appear or the server ended first.
wait_for_file() { # FILE PID
  local i=0
  while [ ! -s "$1" ] && [ $i -lt 300 ] && kill -0 "$2" 2>/dev/null; do
    sleep 0.1
    i=$((i + 1))
  done
  [ -s "$1" ]
}

# --- build -------------------------------------------------------------------
# The publisher's key pair, made once (without a password, -W) and kept with
# the build, whose launcher carries the public half.
if [ ! -s "$signing/minisign.pub" ]; then
  step "Making the publisher's key pair in build/demo/signing (minisign -G)"
  mkdir -p "$signing"
  minisign -G -W -f -p "$signing/minisign.pub" -s "$signing/minisign.key" >/dev/null
fi
public_key=$(sed -n 2p "$signing/minisign.pub")

step "Building the launcher in build/demo (verified updates, key $public_key)"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  "-DROTALIS_UPDATE_PUBLIC_KEY=$public_key" \
  -DROTALIS_BUILD_TESTS=OFF \
  -DROTALIS_UPDATE_SERVER=127.0.0.1 \
  "-DROTALIS_CLOUD_URL=https://127.0.0.1:$cloud_port/functions/v1/regras-por-cnpj" \
  "-DROTALIS_CLOUD_TOKEN=$token" \
  "-DROTALIS_CLOUD_CA_FILE=$pki/ca.pem" -DROTALIS_BUGTRACKER_URL=http://127.0.0.1:8080/erros \
  >/dev/null
cmake --build "$build" --target rotalis -j 2

step "Checking that ports $cloud_port and $update_port are free"
for port in $cloud_port $update_port; do
  port_is_free $port || die "port $port is in use (are tests running?); the demo needs it"
done

# --- servers -------------------------------------------------------------------
rm -rf "$run"
mkdir -p "$app" "$run/mariadb" "$run/cloud/rules" "$run/nginx"
export ROTALIS_MARIADB_CACHE=$build/mariadb-cache
mariadb_fixture=$root/tests/fixtures/mariadb/mariadb-fixture.sh
cloud_pid="" nginx_pid=""

stop_servers() {
  local status=$?
  set +e
  # The cloud service and the update server stop when their input closes.
  exec 4>&- 5>&-
  for pid in $cloud_pid $nginx_pid; do
    for _ in $(seq 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.05; done
    kill "$pid" 2>/dev/null
  done
  "$mariadb_fixture" stop "$run/mariadb"
  [ "$status" -eq 0 ] || echo "demo: failed (status $status); servers stopped" >&2
  exit "$status"
}
trap stop_servers EXIT
trap 'exit 130' INT TERM

step "Starting a private MariaDB with the ERP tables and a company"
# Started first: it must not inherit the pipes that stop the other servers.
db() { mariadb --no-defaults --protocol=socket --socket="$run/mariadb/mysqld.sock" -uroot erp "$@"; }
db_port=$("$mariadb_fixture" start "$run/mariadb" $$ | sed -n 's/^PORT=//p')
[ -n "$db_port" ] || die "the MariaDB fixture gave no port"
db <<SQL
INSERT INTO cfgmcfg (cfgcodigo, cfgetdempresa) VALUES (1, 10);
INSERT INTO etd (etdcodigo, etdapelido, etddoc1) VALUES (10, 'Kelva Demonstração Ltda', '$cnpj');
SQL
echo "MariaDB on 127.0.0.1:$db_port, database erp, company CNPJ $cnpj"

step "Starting the cloud rules service on https://127.0.0.1:$cloud_port"
# The certificate the launcher trusts (its compiled CA file), made with the
# fixtures' openssl recipe; renewed when it is about to expire.
if ! openssl x509 -checkend 3600 -noout -in "$pki/server.pem" >/dev/null 2>&1 ||
  ! openssl x509 -checkend 3600 -noout -in "$pki/ca.pem" >/dev/null 2>&1; then
  python3 -c 'import sys; sys.path.insert(0, sys.argv[1]); import fixture_server
fixture_server.make_certificates(sys.argv[2])' "$root/tests/fixtures/http" "$pki"
fi
# The rules the service holds for the company: text with accents, an open end
# date given as null and as "", a date with a time and a zone.
rule() { # code, identification, cfop, icms, start, end (JSON)
  cat <<JSON
{"classificacao_ibscbs": "$1", "regime_id": 3, "identificacao": "$2",
 "cfop_interno": "$3", "icm_interno": $4, "cfop_externo": "6${3:1}", "icm_externo": 12.0,
 "reducao_base_aliquota": 0.0, "cst_icm_csosn": "00", "cst_ipi": "50", "cst_pis": "01",
 "pis_aliquota": 1.65, "cst_cofins": "01", "cofins_aliquota": 7.6, "classificacao_is": "000001",
 "cst_ibscbs": "000", "classificacao_cpresumido": "01", "ibs_aliquota_estadual": 0.1,
 "ibs_aliquota_municipal": 0.0, "data_inicio": "$5", "data_fim": $6, "cbs_aliquota": 0.9,
 "reducao_cbs": 0.0, "reducao_ibs": 0.0}
JSON
}
{
  echo "["
  rule 000001 "Venda de mercadoria adquirida de terceiros" 5102 18.0 2026-01-01 null
  echo ","
  rule 000002 "Devolução de compra para comercialização" 5202 18.0 2026-01-01 '""'
  echo ","
  rule 000003 "Remessa para industrialização por encomenda" 5901 0.0 \
    "2026-01-01T00:00:00-03:00" '"2026-12-31"'
  echo "]"
} >"$run/cloud/rules/12.345.678%2F0001-90.json"
exec 4> >(exec python3 -u "$root/tests/fixtures/cloud/cloud_server.py" \
  --folder "$run/cloud" --rules "$run/cloud/rules" --token "$token" --port $cloud_port \
  --cert "$pki/server.pem" --key "$pki/server.key" >"$run/cloud/server.log" 2>&1)
cloud_pid=$!
wait_for_file "$run/cloud/port" "$cloud_pid" || die "the cloud service did not start: $(cat "$run/cloud/server.log")"
echo "3 rules for $cnpj, bearer token $token"

step "Starting the update server on http://127.0.0.1:$update_port"
installer() {
  cat <<SH
#!/bin/sh
# A stand-in installer that records how it was started. Shell built-ins only:
# the PATH it inherits holds nothing but the launcher's four folders.
args=""
for a in "\$@"; do args="\$args [\$a]"; done
printf '%s, arguments%s, PATH=%s\\n' "\${0##*/}" "\$args" "\$PATH" >>'$run/installer-runs.log'
SH
}
exec 5> >(exec sh "$root/tests/fixtures/nginx/update-server.sh" "$run/nginx")
nginx_pid=$!
wait_for_file "$run/nginx/state" "$nginx_pid" || die "the update server did not answer"
grep -q '^ready' "$run/nginx/state" || die "the update server did not start: $(cat "$run/nginx/state")"
mkdir -p "$run/nginx/root/arquivos" "$run/nginx/root/download/kelva"
printf '{"qtd":3,"nome-1":"%s","nome-2":"%s","nome-3":"%s"}' "$older" "$newer" "$tampered" \
  >"$run/nginx/root/arquivos/kelva"
served=$run/nginx/root/download/kelva
installer >"$served/$newer"
installer >"$served/$older"
installer >"$served/$tampered"
# What the publisher does for each release (minisign -Sm), with the demo's key.
minisign -S -s "$signing/minisign.key" -m "$served/$newer" "$served/$tampered" >/dev/null
echo 'echo "not what was signed"' >>"$served/$tampered"
echo "lists $older (already in the cache), $newer (new, signed) and $tampered (signed, then altered)"

# --- application folder --------------------------------------------------------
step "Preparing the application folder demo-run/app"
cp "$build/launcher/rotalis" "$build/launcher/rotalis-crash-watcher" "$app/"
mkdir -p "$app/Modulos" "$app/atualizadores_versao"
cp "$build/launcher/sample_package/mrotalis.bpl" "$app/Modulos/"
printf 'MZ' >"$app/KelvaERP.exe"
printf '[posi]\r\nnomebanco=erp\r\nservidor=127.0.0.1\r\nusuario=root\r\nsenha=kqm418\r\nportabanco=%s\r\n' \
  "$db_port" >"$app/kelvaERP.ini"
installer >"$app/atualizadores_versao/$older"
chmod +x "$app/atualizadores_versao/$older"
(cd "$app" && ls -1 -p . Modulos atualizadores_versao | sed 's/^/  /')

# --- the start -----------------------------------------------------------------
if [ -n "${DISPLAY:-}" ]; then
  backend="on display $DISPLAY (desktop backend)"
else
  backend="without a display (console backend)"
fi
# Without the servers' pipes, so that they stop when this script lets go of them.
start_launcher() { # [seconds after which the demo closes it]
  local limit=()
  [ -z "${1:-}" ] || limit=(timeout "$1")
  set +e
  (cd "$run" && "${limit[@]}" "$app/rotalis" </dev/null 4>&- 5>&- 2>&1) | tee -a "$run/launcher.log"
  launcher_status=${PIPESTATUS[0]}
  set -e
}
step "Running the launcher $backend"
[ -z "${DISPLAY:-}" ] || echo "(a message box names the refused installer; close it to go on)"
start_launcher
# --- summary -------------------------------------------------------------------
refused=1
[ ! -e "$app/atualizadores_versao/$tampered" ] && [ ! -e "$app/atualizadores_versao/$tampered.part" ] &&
  ! grep -q "$tampered" "$run/installer-runs.log" 2>/dev/null || refused=0
first_status=$launcher_status
step "What happened"
echo "Launcher exit status: $first_status"
[ ! -s "$run/installer-runs.log" ] ||
  echo "(an installer ran, so the launcher closed without opening its main window)"
echo
echo "Rules now in table nrt:"
db --table <<'SQL' | sed 's/^/  /'
SELECT nrtcodigo, nrtidentificacao, nrtcfop_interno AS cfop, nrticm_interno AS icms,
       nrtdata_inicio AS inicio, nrtdata_fim AS fim FROM nrt ORDER BY nrtcodigo;
SQL
rules=$(db -N -e 'SELECT COUNT(*) FROM nrt' 2>/dev/null || echo 0)
echo
echo "Requests to the cloud service:"
sed 's/^/  /' "$run/cloud/requests.jsonl" 2>/dev/null || echo "  (none)"
echo
echo "Installer cache demo-run/app/atualizadores_versao:"
ls -l "$app/atualizadores_versao" | sed '1d; s/^/  /'
echo "Requests to the update server (target, status, coding, bytes):"
sed 's/^/  /' "$run/nginx/access.log"
echo
echo "Installer runs:"
if [ -s "$run/installer-runs.log" ]; then sed 's/^/  /' "$run/installer-runs.log"; else echo "  (none)"; fi
echo
echo "kelvaERP.ini now reads:"
tr -d '\r' <"$app/kelvaERP.ini" | sed 's/^/  /'
echo

# --- after the update ----------------------------------------------------------
# A real installer replaces the launcher by a newer one, for which the cached
# installer is no longer newer. Here the launcher stays as it was, so the demo
# takes the installer out of the list and the cache instead: the next start
# finds nothing to install and opens the main window.
second_status=skipped
if [ "$launcher_status" -eq 0 ]; then
  printf '{"qtd":0}' >"$run/nginx/root/arquivos/kelva"
  rm -f "$app/atualizadores_versao/$newer"
  step "Second start, once the update is in place, $backend"
  window_seconds=""
  if [ -n "${DISPLAY:-}" ]; then
    window_seconds=${ROTALIS_DEMO_WINDOW_SECONDS:-60}
    echo "(close the main window to go on; the demo closes it after $window_seconds s)"
  fi
  start_launcher "$window_seconds"
  second_status=$launcher_status
  echo "Launcher exit status: $second_status"
  if [ -n "$window_seconds" ] && [ "$second_status" -eq 124 ]; then
    echo "(the demo closed the main window)"
    second_status=0
  fi
  echo "Rules in nrt: $(db -N -e 'SELECT COUNT(*) FROM nrt'); installer runs: $(wc -l <"$run/installer-runs.log")"
fi
echo

ok=1
[ "$first_status" -eq 0 ] || { echo "demo: the launcher did not end normally" >&2; ok=0; }
[ "$second_status" = 0 ] || { echo "demo: the second start did not end normally" >&2; ok=0; }
[ "${rules:-0}" -gt 0 ] || { echo "demo: no rule reached table nrt" >&2; ok=0; }
[ -s "$run/installer-runs.log" ] || { echo "demo: no installer ran" >&2; ok=0; }
[ $refused -eq 1 ] || { echo "demo: the altered installer $tampered was kept or run" >&2; ok=0; }
if [ $ok -eq 1 ]; then
  echo "Demo complete: $rules rules written, $(wc -l <"$run/installer-runs.log") installer run," \
    "the altered $tampered refused."
  exit 0
fi
exit 1
