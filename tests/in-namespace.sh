#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Runs a test in a network namespace of its own, with nothing but a loopback: tests that run side by
# side then neither share ports nor answer each other's discoveries.
set -e
map=
[ "$(id -u)" -eq 0 ] || map=--map-root-user
exec unshare --net $map sh -c 'ip link set lo up && exec "$@"' sh "$@"
