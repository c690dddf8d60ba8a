#!/usr/bin/env bash
# Compares the JNI names javac derives from the declared natives with the
# symbols the library exports. Fails on a missing export that is not listed as
# pending, on a pending entry that is in fact exported (the list must shrink),
# and on any exported Java_ symbol that Java does not declare. The hardware
# runtimes are bound late: the library must not need them at load time.
set -euo pipefail
header=$1 library=$2 pending=$3

declared=$(grep -o 'Java_[A-Za-z0-9_]*' "$header" | sort -u)
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | grep '^Java_' | sort -u || true)
pending_names=$(grep -v '^\s*#' "$pending" | grep -o 'Java_[A-Za-z0-9_]*' | sort -u || true)

status=0
missing=$(comm -23 <(echo "$declared") <(echo "$exported"))
unexpected=$(comm -23 <(echo "$missing") <(echo "$pending_names"))
stale=$(comm -12 <(echo "$pending_names") <(echo "$exported"))
extra=$(comm -13 <(echo "$declared") <(echo "$exported"))
other=$(nm -D --defined-only "$library" | awk '$2 ~ /[TtWw]/ {print $3}' | grep -v '^Java_' | grep -v '^_' || true)

if [ -n "$unexpected" ]; then echo "declared in Java but not exported:"; echo "$unexpected"; status=1; fi
if [ -n "$stale" ]; then echo "listed as pending but exported (remove from $pending):"; echo "$stale"; status=1; fi
if [ -n "$extra" ]; then echo "exported but not declared in Java:"; echo "$extra"; status=1; fi
if [ -n "$other" ]; then echo "symbols leaking from the library:"; echo "$other"; status=1; fi
late=$(readelf -d "$library" | grep NEEDED | grep -E 'libmfx|libvpl|libva' || true)
if [ -n "$late" ]; then echo "runtimes linked that must be bound late:"; echo "$late"; status=1; fi
echo "exports: $(echo "$declared" | wc -l) declared, $(echo "$exported" | grep -c . || true) exported, $(echo "$pending_names" | grep -c . || true) pending"
exit $status
