#!/usr/bin/env bash
# The library must run on a server that has only the runtime packages the
# README lists: asks the dynamic linker what the library loads, and dpkg
# which Debian package owns each file.
#   - every library it loads, directly or through another, is a Debian
#     package's file (nothing from /usr/local or a build tree);
#   - the packages of the libraries it names itself (NEEDED) are exactly the
#     README's list: none missing, none extra, no -dev package.
#   check_runtime_packages.sh LIBRARY README.md
set -euo pipefail
lib=$1
readme=$2

fail=0
ldd_out=$(ldd "$lib")
if grep -q 'not found' <<<"$ldd_out"; then
  echo "FAIL: the linker cannot find: $(grep 'not found' <<<"$ldd_out" | awk '{print $1}' | xargs)"
  fail=1
fi
loaded=$(awk '$2 == "=>" && $3 ~ /^\// {print $3} $1 ~ /^\// {print $1}' <<<"$ldd_out" | sort -u)

# Under merged /usr the linker may name /lib/... where dpkg recorded
# /usr/lib/..., or the other way round: ask dpkg once about every spelling.
candidates() {
  local path=$1 real
  real=$(realpath "$path")
  printf '%s\n' "$path" "$real" "/usr$path" "/usr$real" "${path#/usr}" "${real#/usr}"
}
declare -A owner_of
while IFS= read -r line; do
  owner_of[${line#*: }]=${line%%:*}
done < <(for p in $loaded; do candidates "$p"; done | sort -u | xargs dpkg -S 2>/dev/null | grep -v '^diversion' || true)

declare -A package_of
for path in $loaded; do
  for c in $(candidates "$path"); do
    if [ -n "${owner_of[$c]:-}" ]; then
      package_of[$path]=${owner_of[$c]}
      break
    fi
  done
  if [ -z "${package_of[$path]:-}" ]; then
    echo "FAIL: $path belongs to no Debian package"
    fail=1
  fi
done

needed=()
for soname in $(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
  path=$(awk -v s="$soname" '$1 == s && $2 == "=>" {print $3} $1 ~ /^\// && $1 ~ ("/" s "$") {print $1}' <<<"$ldd_out" | head -1)
  [ -n "$path" ] && [ -n "${package_of[$path]:-}" ] && needed+=("${package_of[$path]}")
done
needed_sorted=$(printf '%s\n' "${needed[@]}" | sort -u)

# The README's list: the first "apt-get install" line after the marker.
listed_sorted=$(sed -n '/<!-- runtime-packages -->/,$p' "$readme" | grep -m1 'apt-get install' |
  sed 's/.*apt-get install//' | tr ' ' '\n' | grep -v '^-' | grep -v '^$' | sort -u || true)
if [ -z "$listed_sorted" ]; then
  echo "FAIL: $readme has no 'apt-get install' line after <!-- runtime-packages -->"
  exit 1
fi

missing=$(comm -23 <(echo "$needed_sorted") <(echo "$listed_sorted"))
extra=$(comm -13 <(echo "$needed_sorted") <(echo "$listed_sorted"))
[ -n "$missing" ] && { echo "FAIL: needed but not in the README: $(echo $missing)"; fail=1; }
[ -n "$extra" ] && { echo "FAIL: in the README but not needed: $(echo $extra)"; fail=1; }
grep -q -- '-dev$' <<<"$listed_sorted" && { echo "FAIL: the README lists a -dev package"; fail=1; }

[ $fail -eq 0 ] && echo "runtime packages: $(echo $listed_sorted) (${#package_of[@]} libraries loaded, all from Debian packages)"
exit $fail
