"""Ends the sessions of a play with the play."""

from typing import Any

from ansible.plugins.callback import CallbackBase
from ansible_collections.tarvexia.switch.plugins.plugin_utils.switch_action import switch_rest

DOCUMENTATION = r"""
name: end_sessions
type: aggregate
short_description: Ends the sessions of a play with the play
version_added: 1.0.0
description:
  - Logs out of every switch that the play was logged in to and that still answered at the end.
requirements:
  - enable in configuration
"""


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "aggregate"
    CALLBACK_NAME = "tarvexia.switch.end_sessions"
    CALLBACK_NEEDS_ENABLED = True

    def __init__(self) -> None:
        super().__init__()
        self.sessions: dict[str, tuple[str, str]] = {}

    def remember(self, result: Any, ignore_errors: bool = False) -> None:
        if session := result._result.get("switch"):
            self.sessions[result._host.name] = (session["url"], session["user"])

    v2_runner_on_ok = remember
    v2_runner_on_failed = remember

    def v2_runner_on_unreachable(self, result: Any) -> None:
        self.sessions.pop(result._host.name, None)

    def v2_playbook_on_stats(self, stats: Any) -> None:
        for url, user in self.sessions.values():
            try:
                with switch_rest.connect(
                    url, user, "", keys=switch_rest.KeyStore(), timeout=5
                ) as switch:
                    switch.log_out()
            except switch_rest.SwitchError as error:
                self._display.warning(f"{url}: not logged out: {error}")
