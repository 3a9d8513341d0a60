#!/usr/bin/env bash
# The switch's start script under BusyBox: an engine that ends is started again, until it is stopped.
. "$(dirname "$0")/lib.sh"
need busybox

init() { busybox sh "$SOURCE_DIR/scripts/restful_api_engine.init" "$@" 2>&1; }
trap 'init stop; end' EXIT
export ENGINE=$work/engine LIBRARIES=$work/lib LOG=$work/log PIDFILE=$work/pid PAUSE=0
check 'nothing to start' "restful_api_engine: there is no $ENGINE" "$(init start)"
printf '#!/bin/sh\necho "$$ $LD_LIBRARY_PATH $PWD" >>%s/started\nexec sleep 600\n' "$work" >"$ENGINE"
chmod +x "$ENGINE"
touch "$work/started"
head -c 70000 /dev/zero >"$LOG"

# started N: waits until the engine has been started so often, and prints how it was the last time.
started() {
  until [ "$(wc -l <"$work/started")" -ge "$1" ]; do sleep 0.01; done
  tail -n 1 "$work/started"
}
check 'before' stopped "$(init status)"
check 'start' '' "$(init start)"
read -r pid rest < <(started 1)
check 'its libraries and folder' "$LIBRARIES /" "$rest"
check 'once started' running "$(init status)"
check 'start again' 'restful_api_engine is running already' "$(init start)"
kill -SEGV "$pid"
read -r pid rest < <(started 2)
check 'a second engine' running "$(init status)"
check 'restart' '' "$(init restart)"
check 'the engine before it' gone "$(kill -0 "$pid" 2>/dev/null || echo gone)"
read -r pid rest < <(started 3)
check 'stop' '' "$(init stop)"
check 'the last engine' gone "$(kill -0 "$pid" 2>/dev/null || echo gone)"
check 'after' stopped "$(init status)"
check 'starts' 3 "$(wc -l <"$work/started")"
check 'the log' 'started ended with status 139 started stopped started stopped' \
  "$(tr -d '\0' <"$LOG" | cut -d' ' -f3- | sed -E 's/ as process.*|, starts again.*//' | xargs)"
check 'the log begins anew' 1 "$(($(wc -c <"$LOG") < 1000))"
finish
