#!/usr/bin/env bash
# Packs the release of a Windows build folder as a publisher would, signed
# with a code-signing certificate from a throw-away CA made here, and checks
# what a workstation gets:
#
#   signed-release-test.sh SOURCE_DIR BUILD_DIR OBJDUMP OBJCOPY
#
# - every program and library in the zip carries a signature that
#   osslsigncode verifies against that CA, and against no other CA;
# - the zip holds the launcher and its crash watcher, not the sample package;
# - the symbol tables made from the unsigned build still fit: signing left the
#   section table and the code where they were;
# - a release that cannot be signed is not made at all, and an unsigned one
#   says so.
set -euo pipefail
source_dir=$1
build=$2
objdump=$3
objcopy=$4

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0
fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

new_ca() {
  openssl req -x509 -newkey rsa:2048 -nodes -keyout "$1.key" -out "$1.pem" -days 2 \
    -subj "/CN=$2" -addext "basicConstraints=critical,CA:true" \
    -addext "keyUsage=critical,keyCertSign,cRLSign" 2>/dev/null
}
new_ca ca "Rotalis Test CA"
new_ca other "Another Test CA"
openssl req -newkey rsa:2048 -nodes -keyout publisher.key -out publisher.csr \
  -subj "/CN=Rotalis Test Publisher" 2>/dev/null
printf '%s\n' basicConstraints=critical,CA:false keyUsage=critical,digitalSignature \
  extendedKeyUsage=codeSigning >publisher.ext
openssl x509 -req -in publisher.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 \
  -extfile publisher.ext -out publisher.pem 2>/dev/null
# The password as a publisher keeps it: one line in a file of its own.
echo "pass phrase with blanks" >password.txt
openssl pkcs12 -export -inkey publisher.key -in publisher.pem -certfile ca.pem \
  -passout file:password.txt -out publisher.pfx

package() {
  bash "$source_dir/scripts/package-windows.sh" "$build" "$@"
}

package unsigned >unsigned.log
grep -q "NOT signed" unsigned.log || fail "an unsigned release does not say so: $(cat unsigned.log)"

echo "not the password" >wrong.txt
if package refused publisher.pfx wrong.txt >refused.log 2>&1; then
  fail "packing with a wrong password succeeded"
fi
if compgen -G "refused/*.zip" >/dev/null; then
  fail "a release that could not be signed was zipped: $(ls refused)"
fi

package signed publisher.pfx password.txt >signed.log
zips=(signed/rotalis-*-windows-x86_64.zip)
[ -f "${zips[0]}" ] || {
  echo "FAILED: no release zip in signed/: $(ls signed)" >&2
  exit 1
}
mkdir shipped
(cd shipped && cmake -E tar xf "../${zips[0]}")

[ ! -e shipped/Modulos/mrotalis.bpl ] || fail "the zip carries the sample package Modulos/mrotalis.bpl"
[ ! -e signed/app/Modulos/mrotalis.bpl ] || fail "the release folder carries Modulos/mrotalis.bpl"

programs=()
while IFS= read -r -d '' program; do
  programs+=("${program#shipped/}")
done < <(find shipped -type f \( -iname '*.exe' -o -iname '*.dll' -o -iname '*.bpl' \) -print0)
for expected in rotalis.exe rotalis-crash-watcher.exe; do
  [[ " ${programs[*]} " == *" $expected "* ]] || fail "the zip has no $expected (it has ${programs[*]})"
done

for program in "${programs[@]}"; do
  if ! osslsigncode verify -CAfile ca.pem -in "shipped/$program" >verify.log 2>&1; then
    fail "$program does not verify against the publisher's CA:"
    cat verify.log >&2
  elif ! grep -q "Rotalis Test Publisher" verify.log; then
    fail "$program is not signed by the publisher: $(cat verify.log)"
  fi
  if osslsigncode verify -CAfile other.pem -in "shipped/$program" >/dev/null 2>&1; then
    fail "$program verifies against a CA that never issued its certificate"
  fi
  if osslsigncode verify -CAfile ca.pem -in "unsigned/app/$program" >/dev/null 2>&1; then
    fail "the unsigned $program verifies"
  fi

  # The symbolizer takes "<program>.sym" beside the program and adds its
  # addresses to the module's base: they stay right while the sections and
  # their code do.
  cmp -s "shipped/$program.sym" "unsigned/app/$program.sym" ||
    fail "$program.sym differs from the unsigned build's"
  if ! diff <("$objdump" -h "shipped/$program" | tail -n +3) \
    <("$objdump" -h "unsigned/app/$program" | tail -n +3) >sections.diff; then
    fail "signing moved sections of $program:"
    cat sections.diff >&2
  fi
  "$objcopy" -O binary -j .text "shipped/$program" signed.text
  "$objcopy" -O binary -j .text "unsigned/app/$program" unsigned.text
  cmp -s signed.text unsigned.text || fail "signing changed the code of $program"
done

[ "$failures" -eq 0 ] || exit 1
echo "signed release: ${programs[*]} verified"
