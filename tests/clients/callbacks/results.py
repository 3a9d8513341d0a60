"""Writes each task's result of a play as one line of JSON into the file that RESULTS names."""

import json
import os
from typing import Any

from ansible.plugins.callback import CallbackBase


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_NAME = "results"

    def write(self, result: Any, **marks: bool) -> None:
        with open(os.environ["RESULTS"], "a") as file:
            line = {"host": result._host.name, "task": result._task.name, **result._result, **marks}
            print(json.dumps(line, default=str), file=file)

    def v2_runner_on_ok(self, result: Any) -> None:
        self.write(result, failed=False)

    def v2_runner_on_failed(self, result: Any, ignore_errors: bool = False) -> None:
        self.write(result, failed=True)

    def v2_runner_on_unreachable(self, result: Any) -> None:
        self.write(result, unreachable=True)
