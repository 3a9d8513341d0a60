"""Every operation of docs/openapi.json with the values that it gives as examples: the answers are as
it describes them."""

import json
import re
from collections.abc import Callable
from typing import Any
from urllib.parse import quote, urlsplit
from xml.etree import ElementTree

import requests
from engines import ROOT, Engine, running, wait_for
from jsonschema import Draft202012Validator, RefResolver
from test_switchctl import file_server

DOCUMENT = json.loads((ROOT / "docs/openapi.json").read_text())
RESOLVER = RefResolver("", DOCUMENT)
Operation = tuple[str, str, dict[str, Any]]  # method, path, and what is told of them
OPERATIONS: list[Operation] = [
    (method, path, told) for path, one in DOCUMENT["paths"].items() for method, told in one.items()
]
# Results that hold names no XML element can have: "prefix/prefix_length" and CPU periods.
NOT_XML = (
    *("/if/{ifNum}", "/routing/if", "/routing/vlanRtrIf"),
    *("/routing/vlanRtrIf/{logicalInterfaceId}", "/process/cpu"),
)


def order_of_use(operation: Operation) -> tuple[object, ...]:
    """What others hang on comes first and goes last: VLANs, their routing interfaces, a downloaded
    script; the session ends at the very end."""
    method, path, _ = operation
    bases = ("/vlans", "/routing/vlanRtrIf$", "(?!/script)", "")
    depth = next(n for n, base in enumerate(bases) if re.match(base, path)) * 10 + path.count("/")
    rank = ("post", "put", "get", "delete").index(method)
    return (method, path) == ("delete", "/login"), rank, -depth if method == "delete" else depth


def form_of(told: dict[str, Any]) -> dict[str, Any]:
    content = told.get("requestBody", {}).get("content", {})
    fields = content.get("application/x-www-form-urlencoded", {}).get("schema", {})["properties"]
    return {name: one["examples"][0] for name, one in fields.items() if "examples" in one}


def perform(engine: Engine, operation: Operation, files: str, **query: str) -> requests.Response:
    method, path, told = operation
    for one in told["parameters"]:
        if "$ref" in one or one["name"] == "format":
            continue
        example = str(one["schema"]["examples"][0])
        if one["in"] == "path":
            path = path.replace(f"{{{one['name']}}}", quote(example, safe=""))
        else:
            query[one["name"]] = example
    form = form_of(told) if "requestBody" in told else {}
    if "url" in form:  # the server of the examples is nowhere; its files are here
        form["url"] = files + urlsplit(form["url"]).path
    return requests.request(method, engine.url + path, params=query, data=form, timeout=30)


def json_code(operation: Operation, reply: requests.Response) -> int:
    assert reply.headers["Content-Type"] == "application/json; charset=utf-8"
    schema = operation[2]["responses"]["200"]["content"]["application/json"]["schema"]
    Draft202012Validator(schema, resolver=RESOLVER).validate(reply.json())
    return int(reply.json()["result"]["rlt_code"])


def xml_code(operation: Operation, reply: requests.Response) -> int:
    assert reply.headers["Content-Type"] == "text/xml; charset=utf-8"
    start = r"<result><rlt_code>(\d+)</rlt_code><rlt_mesg>[^<]+</rlt_mesg>"
    assert (found := re.match(start, reply.text)), reply.text
    if operation[1] not in NOT_XML:
        assert ElementTree.fromstring(reply.content).tag == "result"
    return int(found[1])


def transfer_ends(engine: Engine, way: str, key: str) -> None:
    def status() -> str | None:
        variables = {"sessionkey": key, "format": "json"}
        text = requests.get(f"{engine.url}/{way}/status", variables, timeout=30).text
        return None if "in progress" in text else text

    assert "success" in wait_for("the end of a transfer", status)


Code = Callable[[Operation, requests.Response], int]


def answered(format: str, code: Code) -> dict[tuple[str, str], int]:
    """The codes that all operations answer, one after the other."""
    codes = {}
    urls = (form_of(told).get("url") for *_, told in OPERATIONS if "requestBody" in told)
    paths = {urlsplit(url).path for url in urls if url}
    with running(1) as [engine], file_server(*paths) as files:
        login = next(one for one in OPERATIONS if one[:2] == ("post", "/login"))
        data = perform(engine, login, files, format="json").json()["result"]["rlt_data"]
        for operation in sorted(OPERATIONS, key=order_of_use):
            method, path, told = operation
            key = {} if "security" in told else {"sessionkey": data["sessionKey"]}
            reply = perform(engine, operation, files, format=format, **key)
            assert reply.status_code == 200
            codes[method, path] = code(operation, reply)
            if found := re.match("/((?:down|up)load)/", path if method == "post" else ""):
                transfer_ends(engine, found[1], data["sessionKey"])
        assert (engine.folder / "log").read_text().strip() == ""
    return codes


def test_every_operation_answers_as_described() -> None:
    codes = answered("json", json_code)
    served = {one[:2] for one in OPERATIONS if not one[2].get("deprecated")}
    # The example of the PVID is the VLAN that the interface is then taken out of.
    refused = {("delete", "/if/{ifNum}/vlan/{vlanId}"): 1}
    assert {one: code for one, code in codes.items() if code != 0 and one in served} == refused
    assert answered("xml", xml_code) == codes
