"""The section vlan_interfaces of a switch."""

from ansible_collections.tarvexia.switch.plugins.plugin_utils.switch_action import SectionAction


class ActionModule(SectionAction):
    section = "vlan_interfaces"
