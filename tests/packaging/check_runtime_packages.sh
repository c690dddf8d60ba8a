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

# Under merged /usr the linker may name /lib/... where dpkg recorded /usr/lib/..., or the other way round.
owner() {
  local path=$1 real
  real=$(realpath "$path")
  for p in "$path" "$real" "/usr$path" "/usr$real" "${path#/usr}" "${real#/usr}"; do
    if out=$(dpkg -S "$p" 2>/dev/null); then
      grep -v '^diversion' <<<"$out" | head -1 | cut -d: -f1
      return 0
    fi
  done
  return 1
}

fail=0
ldd_out=$(ldd "$lib")
if grep -q 'not found' <<<"$ldd_out"; then
  echo "FAIL: the linker cannot find: $(grep 'not found' <<<"$ldd_out" | awk '{print $1}' | xargs)"
  fail=1
fi

# Every file the linker would load, with the package that owns it.
declare -A package_of
while read -r path; do
  if pkg=$(owner "$path"); then
    package_of[$path]=$pkg
  else
    echo "FAIL: $path belongs to no Debian package"
    fail=1
  fi
done < <(awk '$2 == "=>" && $3 ~ /^\// {print $3} $1 ~ /^\// {print $1}' <<<"$ldd_out")

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
