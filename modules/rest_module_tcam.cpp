#include "modules/rest_module_tcam.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"

// Version of the policy record that this module fills.
static constexpr uint32_t POLICY_VERSION_MAJOR = 0;
static constexpr uint32_t POLICY_VERSION_MINOR = 1;

// How often the switch is asked for the policy behind one before that one is taken for the last.
static constexpr uint32_t POLICY_TRIES_MAX = 16;

static constexpr size_t POLICY_TYPE_TEXT_SIZE = 32;
static constexpr size_t MAC_TEXT_SIZE = sizeof "00:00:00:00:00:00";

// clang-format off
static constexpr rest_route_t tcam_routes[] = {
    {REQUEST_METHOD_POST,   "/tcam/policy",              api_tcam_create_new_policy                   },
    {REQUEST_METHOD_POST,   "/tcam/policy/{n}/port/{n}", api_tcam_create_policy_specified_id_to_port  },
    {REQUEST_METHOD_GET,    "/tcam",                     api_tcam_get_info                            },
    {REQUEST_METHOD_GET,    "/tcam/groupStats",          api_tcam_get_group_stats                     },
    {REQUEST_METHOD_GET,    "/tcam/policy",              api_tcam_get_policy_list                     },
    {REQUEST_METHOD_GET,    "/tcam/policy/{n}",          api_tcam_get_policy_specified_id             },
    {REQUEST_METHOD_DELETE, "/tcam/policy/{n}",          api_tcam_delete_policy_specified_id          },
    {REQUEST_METHOD_DELETE, "/tcam/policy",              api_tcam_delete_policy_all                   },
    {REQUEST_METHOD_DELETE, "/tcam/policy/{n}/port/{n}", api_tcam_delete_policy_specified_id_from_port},
};
// clang-format on

int tcam_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  // A switch that was restarted has forgotten the first one; when it fails, so do the calls below.
  rpcclt_openapiTcamApiInit(client_handle);
  return rest_route_request(client_handle, conn, tcam_routes);
}

RC_t get_tcam_policy_type_string_by_eum(OPEN_TCAM_POLICY_TYPE_t policyType, char* out)
{
  static constexpr const char* texts[] = {nullptr, "OpenFlow policy", "Gen (IPv6) policy",
                                          "Egress policy", "End value"};
  const char* text = rest_enum_text(texts, policyType);
  if (!text || !out)
    return RC_FALSE;
  snprintf(out, POLICY_TYPE_TEXT_SIZE, "%s", text);
  return RC_TRUE;
}

RC_t get_if_tcam_action_type_contain_specified_action(uint32_t actionType, uint32_t action)
{
  if (action == 0)
    return actionType == 0 ? RC_TRUE : RC_FALSE;
  return (actionType & action) == action ? RC_TRUE : RC_FALSE;
}

int api_tcam_get_info(openapiClientHandle_t*, struct mg_connection* conn)
{
  char version[32];
  snprintf(version, sizeof version, "%u.%u", POLICY_VERSION_MAJOR, POLICY_VERSION_MINOR);
  tree_ptr tree(new_tree());
  append_tree_field(append_tree_group(tree.get(), "infomation"), "tcam_api_version", version);
  return answer_data(conn, std::move(tree));
}

// ---- creating a policy ----

template <uint8_t (open_tcamApiPolicy_t::*FIELD)[6]>
static bool read_match_mac(openapiClientHandle_t*, const char* text, open_tcamApiPolicy_t& policy)
{
  return convert_mac_string_to_uchar_ary(text, policy.*FIELD, sizeof(policy.*FIELD)) == RC_TRUE;
}

template <uint32_t open_tcamApiPolicy_t::*FIELD>
static bool read_match_ip(openapiClientHandle_t* client_handle, const char* text,
                          open_tcamApiPolicy_t& policy)
{
  open_inet_addr_t address = {};
  if (convert_ip_string_to_inet_addr(client_handle, text, &address) != RC_TRUE)
    return false;
  policy.*FIELD = rest_ipv4_member(address);
  return true;
}

static bool read_new_dst_mac(openapiClientHandle_t*, const char* text, open_tcamApiPolicy_t& policy)
{
  uint8_t(&mac)[6] = policy.actionVal.dstMac;
  policy.actionType |= OPEN_TCAM_POLICY_ACTION_DSTMAC_NEW;
  return convert_mac_string_to_uchar_ary(text, mac, sizeof mac) == RC_TRUE;
}

static bool read_new_src_mac(openapiClientHandle_t*, const char* text, open_tcamApiPolicy_t& policy)
{
  uint8_t(&mac)[6] = policy.actionVal.srcAddr;
  policy.actionType |= OPEN_TCAM_POLICY_ACTION_SRCMAC_NEW;
  return convert_mac_string_to_uchar_ary(text, mac, sizeof mac) == RC_TRUE;
}

static bool read_drop(openapiClientHandle_t*, const char* text, open_tcamApiPolicy_t& policy)
{
  policy.actionType |= OPEN_TCAM_POLICY_ACTION_DROP;
  return rest_atoi(text) == 1;
}

static bool read_new_vlan_prio(openapiClientHandle_t*, const char* text,
                               open_tcamApiPolicy_t& policy)
{
  policy.actionType |= OPEN_TCAM_POLICY_ACTION_USERPRIO;
  policy.actionVal.vlanPrio = static_cast<uint8_t>(rest_atoi(text) & 0xff);
  return text[0] != '\0';
}

static bool read_redirect_port(openapiClientHandle_t*, const char* text,
                               open_tcamApiPolicy_t& policy)
{
  policy.actionType |= OPEN_TCAM_POLICY_ACTION_REDIRECT;
  policy.actionVal.redirIntfNum = static_cast<uint32_t>(rest_atoi(text));
  return text[0] != '\0';
}

static bool read_send_to_cpu_rule(openapiClientHandle_t*, const char* text,
                                  open_tcamApiPolicy_t& policy)
{
  policy.actionType |= OPEN_TCAM_POLICY_ACTION_REDIRECT_CPU;
  policy.ruleNum = static_cast<uint64_t>(int64_t{rest_atoi(text)});  // -1 is all ones
  return text[0] != '\0';
}

// The parameters that can be wrong, in the order in which they are read and of their result codes,
// which count from 1. A reader returns false for a value that is.
static constexpr struct {
  const char* name;
  bool (*read)(openapiClientHandle_t* client_handle, const char* text,
               open_tcamApiPolicy_t& policy);
} policy_parameters[] = {
    {"matchDstMac",         read_match_mac<&open_tcamApiPolicy_t::matchDstMac>  },
    {"matchSrcMac",         read_match_mac<&open_tcamApiPolicy_t::matchSrcMac>  },
    {"matchDstIp",          read_match_ip<&open_tcamApiPolicy_t::matchDstIp>    },
    {"matchDstIpMask",      read_match_ip<&open_tcamApiPolicy_t::matchDstIpMask>},
    {"matchSrcIp",          read_match_ip<&open_tcamApiPolicy_t::matchSrcIp>    },
    {"matchSrcIpMask",      read_match_ip<&open_tcamApiPolicy_t::matchSrcIpMask>},
    {"actionDrop",          read_drop                                           },
    {"actionNewVlanPrio",   read_new_vlan_prio                                  },
    {"actionNewDstMac",     read_new_dst_mac                                    },
    {"actionNewSrcMac",     read_new_src_mac                                    },
    {"actionRedirPort",     read_redirect_port                                  },
    {"actionSendToCpuRule", read_send_to_cpu_rule                               },
};

// A number that cannot be wrong: 0 when it is absent or empty.
static int32_t number_of(struct mg_connection* conn, const char* name)
{
  int32_t number = 0;
  rest_get_number(conn, name, number);
  return number;
}

int api_tcam_create_new_policy(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  open_tcamApiPolicy_t policy = {};
  policy.policyHeader.versionInfo.versionMajor = POLICY_VERSION_MAJOR;
  policy.policyHeader.versionInfo.versionMinor = POLICY_VERSION_MINOR;
  policy.policyHeader.headerLen = sizeof policy.policyHeader;
  policy.policyPrio = static_cast<uint32_t>(number_of(conn, "policyPrio"));
  policy.policyType = static_cast<OPEN_TCAM_POLICY_TYPE_t>(number_of(conn, "policyType"));
  policy.matchVlanVal = static_cast<uint16_t>(number_of(conn, "matchVlanId") & 0xffff);
  policy.matchVlanPrio = static_cast<uint8_t>(number_of(conn, "matchVlanPrio") & 0xff);
  for (size_t i = 0; i < std::size(policy_parameters); i++) {
    char text[256];
    if (rest_get_var(conn, policy_parameters[i].name, text) >= 0 &&
        !policy_parameters[i].read(client_handle, text, policy))
      return answer_failure(conn, static_cast<uint16_t>(i + 1),
                            "The value of parameter %s is invalid.", policy_parameters[i].name);
  }
  uint32_t policy_id = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiTcamPolicyCreate(client_handle, &policy, &policy_id));
  return answer_success(conn, "Create a new policy successfully (Policy ID is %d).",
                        static_cast<int>(policy_id));
}

static_assert(sizeof(open_tcam_policy_header_t) == 12,
              "the length that the record tells of itself");

// ---- reading policies ----

int api_tcam_get_policy_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* policies = append_tree_group(tree.get(), "policies");
  uint32_t policy_id = 0;
  open_error_t result = rpcclt_openapiTcamPolicyGetFirst(client_handle, &policy_id);
  // Only OPEN_E_FAIL is the end. A step that fails otherwise lists the same policy once more and is
  // taken again, but not for ever.
  uint32_t tries = 0;
  for (uint32_t count = 1;
       result != OPEN_E_FAIL && tries < POLICY_TRIES_MAX && count <= REST_WALK_MAX; count++) {
    append_tree_field(append_tree_entry(policies, count, "policy"), "policy_id",
                      static_cast<int>(policy_id));
    uint32_t next = policy_id;
    result = rpcclt_openapiTcamPolicyGetNext(client_handle, policy_id, &next);
    tries = next > policy_id ? 0 : tries + 1;
    policy_id = next;
  }
  return answer_data(conn, std::move(tree));
}

static void append_mac(node_t* list, const char* name, const uint8_t (&mac)[6])
{
  char text[MAC_TEXT_SIZE] = "";
  convert_uchar_ary_to_mac_string(mac, text, 1, 1);
  append_tree_field(list, name, text);
}

static void append_ipv4(node_t* list, const char* name, uint32_t address)
{
  char text[REST_ADDRESS_TEXT_SIZE] = "";
  convert_ipv4_with_uint32_to_ip_string(address, text);
  append_tree_field(list, name, text);
}

static void append_ipv6(node_t* list, const char* name, const open_in6_addr_t& address)
{
  char text[REST_ADDRESS_TEXT_SIZE] = "";
  convert_ipv6_with_in6_addr_to_ip_string(&address, text);
  append_tree_field(list, name, text);
}

static void append_hex(node_t* list, const char* name, uint32_t value)
{
  char text[sizeof "0xffffffff"];
  snprintf(text, sizeof text, "0x%x", value);
  append_tree_field(list, name, text);
}

static void append_header(node_t* list, const open_tcam_policy_header_t& header)
{
  char version[sizeof "-2147483648.-2147483648"];
  snprintf(version, sizeof version, "%d.%d", static_cast<int>(header.versionInfo.versionMajor),
           static_cast<int>(header.versionInfo.versionMinor));
  append_tree_field(list, "version", version);
  append_tree_field(list, "header_length", static_cast<int>(header.headerLen));
}

static void append_classifiers(node_t* list, const open_tcamApiPolicy_t& policy)
{
  append_mac(list, "dst_mac", policy.matchDstMac);
  append_ipv4(list, "dst_ip", policy.matchDstIp);
  append_ipv4(list, "dst_ip_mask", policy.matchDstIpMask);
  append_ipv6(list, "dst_ipv6", policy.matchDstIpv6Addr);
  append_ipv6(list, "dst_ipv6_mask", policy.matchDstIpv6Mask);
  append_tree_field(list, "dst_port_icmp_code", policy.matchDstPortIcmpCode);
  append_tree_field(list, "dst_port_icmp_code_mask", policy.matchDstPortIcmpCodeMask);
  append_mac(list, "src_mac", policy.matchSrcMac);
  append_ipv4(list, "src_ip", policy.matchSrcIp);
  append_ipv4(list, "src_ip_mask", policy.matchSrcIpMask);
  append_ipv6(list, "src_ipv6", policy.matchSrcIpv6Addr);
  append_ipv6(list, "src_ipv6_mask", policy.matchSrcIpv6Mask);
  append_tree_field(list, "src_port_icmp_code", policy.matchSrcPortIcmpType);
  append_tree_field(list, "src_port_icmp_code_mask", policy.matchSrcPortIcmpTypeMask);
  append_tree_field(list, "ip_dscp", static_cast<int>(policy.matchIpDscp));
  append_tree_field(list, "ip_dscp_mask", policy.matchIpDscpMask);
  append_tree_field(list, "ip_protocol", static_cast<int>(policy.matchIpProto));
  append_tree_field(list, "ip_protocol_mask", static_cast<int>(policy.matchIpProtoMask));
  append_tree_field(list, "vlan_id", policy.matchVlanVal);
  append_tree_field(list, "vlan_priority", policy.matchVlanPrio);
  append_hex(list, "ether_type", policy.matchEthType);
}

static void append_action_type(node_t* list, uint32_t action_type)
{
  static constexpr struct {
    OPEN_TCAM_POLICY_ACTION_t action;
    const char* key;
    const char* tagname;
  } rows[] = {
      {OPEN_TCAM_POLICY_ACTION_DROP,         "drop",                  "drop"                 },
      {OPEN_TCAM_POLICY_ACTION_REDIRECT,     "redirect_another_port", "redirect_another_port"},
      {OPEN_TCAM_POLICY_ACTION_OUTERVLAN,    "rewrite_outer_vlan",    "rewrite_outer_vlan"   },
      {OPEN_TCAM_POLICY_ACTION_SRCMAC_NEW,   "rewrite_src_mac",       "rewrite_src_mac"      },
      {OPEN_TCAM_POLICY_ACTION_DSTMAC_NEW,   "rewrite_dst_mac",       "rewrite_dst_mac"      },
      {OPEN_TCAM_POLICY_ACTION_USERPRIO,     "rewrite_priority",      "rewrite_priority"     },
      {OPEN_TCAM_POLICY_ACTION_OUTERTPID,    "rewrite_outer_TPID.",   "rewrite_outer_TPID"   },
      {OPEN_TCAM_POLICY_ACTION_REDIRECT_CPU, "redirect_cpu",          "redirect_cpu"         },
  };
  for (const auto& row : rows) {
    bool set = get_if_tcam_action_type_contain_specified_action(action_type, row.action) == RC_TRUE;
    append_tree_string(list, row.key, row.tagname, set ? "Yes" : "No");
  }
}

static void append_action_value(node_t* list, const OPEN_TCAM_ACTION_t& action)
{
  append_tree_field(list, "dscp", action.dscp);
  append_hex(list, "ether_type", action.etherType);
  append_tree_field(list, "redirect_if_num", static_cast<int>(action.redirIntfNum));
  append_mac(list, "src_mac", action.srcAddr);
  append_mac(list, "dst_mac", action.dstMac);
  append_tree_field(list, "vlan_id", action.vlanId);
  append_tree_field(list, "vlan_priority", action.vlanPrio);
}

int api_tcam_get_policy_specified_id(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn)
{
  int32_t policy_id = rest_path_number(conn->uri, 2);
  open_tcamApiPolicy_t policy = {};
  char type[POLICY_TYPE_TEXT_SIZE];
  char rule[sizeof "-9223372036854775808"];
  OPEN_OR_ANSWER(
      conn, rpcclt_openapiTcamPolicyGet(client_handle, static_cast<uint32_t>(policy_id), &policy));
  if (get_tcam_policy_type_string_by_eum(policy.policyType, type) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  snprintf(rule, sizeof rule, "%lld", static_cast<long long>(policy.ruleNum));

  tree_ptr tree(new_tree());
  node_t* entry = append_tree_group(tree.get(), "policy");
  append_tree_field(entry, "policy_id", policy_id);
  append_tree_field(entry, "policy_priority", static_cast<int>(policy.policyPrio));
  append_tree_field(entry, "policy_type", type);
  append_tree_field(entry, "rule_num", rule);
  append_tree_field(entry, "rule_priority", static_cast<int>(policy.rulePrio));
  append_header(append_tree_group(entry, "policy_header"), policy.policyHeader);
  append_classifiers(append_tree_group(entry, "classifiers"), policy);
  append_action_type(append_tree_group(entry, "action_type"), policy.actionType);
  append_action_value(append_tree_group(entry, "action_value"), policy.actionVal);
  return answer_data(conn, std::move(tree));
}

// ---- deleting policies, attaching them to ports ----

int api_tcam_delete_policy_specified_id(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn)
{
  int32_t policy_id = rest_path_number(conn->uri, 2);
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiTcamPolicyDestroy(client_handle, static_cast<uint32_t>(policy_id)));
  return answer_success(conn, "Delete the policy ID %d successfully.", policy_id);
}

int api_tcam_delete_policy_all(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  OPEN_OR_ANSWER(conn, rpcclt_openapiTcamPolicyDeleteAll(client_handle));
  return answer_success(conn, "Delete all the policies created by TCAM API successfully.");
}

static int change_policy_port(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                              decltype(&rpcclt_openapiTcamPolicyIntfAdd) change, const char* verb,
                              const char* preposition)
{
  int32_t policy_id = rest_path_number(conn->uri, 2);
  int32_t port = rest_path_number(conn->uri, 4);
  if (port == 0)
    return answer_failure(conn, 1, "The port number is invalid.");
  OPEN_OR_ANSWER(
      conn, change(client_handle, static_cast<uint32_t>(policy_id), static_cast<uint32_t>(port)));
  return answer_success(conn, "%s the policy %d %s port %d successfully.", verb, policy_id,
                        preposition, port);
}

int api_tcam_create_policy_specified_id_to_port(openapiClientHandle_t* client_handle,
                                                struct mg_connection* conn)
{
  return change_policy_port(client_handle, conn, rpcclt_openapiTcamPolicyIntfAdd, "Configure",
                            "to");
}

int api_tcam_delete_policy_specified_id_from_port(openapiClientHandle_t* client_handle,
                                                  struct mg_connection* conn)
{
  return change_policy_port(client_handle, conn, rpcclt_openapiTcamPolicyIntfRem, "Delete", "from");
}

// ---- group statistics ----

// One set for both stages: what the egress stage does not tell stays as the ingress stage left it.
struct tcam_figures_t {
  uint32_t group_count;
  uint32_t entry_count;
  uint32_t entry_free;
  uint32_t entry_total;
  uint32_t slice256_count;
  uint32_t slice256_free;
};

static void append_figures(node_t* list, uint32_t count, uint32_t free, uint32_t total)
{
  append_tree_field(list, "count", static_cast<int>(count));
  append_tree_field(list, "free", static_cast<int>(free));
  append_tree_field(list, "total", static_cast<int>(total));
}

static void append_tcam_group(openapiClientHandle_t* client_handle, node_t* entry,
                              const open_tcam_group_t& group)
{
  append_tree_field(entry, "is_used", group.used == 1 ? "Yes" : "No");
  if (group.used != 1)
    return;
  char type[256] = "";
  open_buffdesc type_desc = rest_buffer_desc(type);
  if (rpcclt_openapiTcamHapiBroadPolicyTypeNameGetZRT(client_handle, group.policy_type,
                                                      &type_desc) != OPEN_E_NONE)
    type[0] = '\0';
  type[sizeof type - 1] = '\0';
  append_tree_field(entry, "gid", static_cast<int>(group.gid));
  append_tree_field(entry, "type", type);
  append_tree_field(entry, "width", static_cast<int>(group.slice_width_physical));
  append_tree_field(entry, "depth", static_cast<int>(group.natural_depth));
  append_figures(entry, group.entry_count, group.entries_free, group.entries_total);
}

// Reads one stage into the tree; the result of the call that failed, if one did.
static open_error_t append_stage(openapiClientHandle_t* client_handle, node_t* list,
                                 OPEN_TCAM_POLICY_STAGE_t stage, tcam_figures_t& figures)
{
  bool ingress = stage == OPEN_TCAM_POLICY_STAGE_INGRESS;
  open_tcam_group_stats_t stats = {};
  open_error_t result = rpcclt_openapiTcamGroupStatsGetZRT(client_handle, stage, &stats);
  if (result != OPEN_E_NONE)
    return result;
  result =
      ingress ? rpcclt_openapiTcamGroupStatsIngressSlicesCountGetZRT(
                    client_handle, &figures.group_count, &figures.entry_count, &figures.entry_free,
                    &figures.entry_total, &figures.slice256_count, &figures.slice256_free)
              : rpcclt_openapiTcamGroupStatsEgressSlicesCountGetZRT(
                    client_handle, &figures.group_count, &figures.entry_count, &figures.entry_free);
  if (result != OPEN_E_NONE)
    return result;

  node_t* entry = append_tree_group(list, ingress ? "stage_ingress" : "stage_egress");
  node_t* groups = append_tree_group(entry, "groups");
  uint32_t count = std::min(figures.group_count, OPEN_TCAM_GROUPS_MAX);
  for (uint32_t i = 0; i < count; i++)
    append_tcam_group(client_handle, append_tree_entry(groups, i + 1, "group"), stats.group[i]);
  append_figures(append_tree_group(entry, "entry_stats"), figures.entry_count, figures.entry_free,
                 figures.entry_total);
  // The switch counts no slices of 512 entries and has no total of either size; scripts know the
  // zeroes.
  node_t* slices = append_tree_group(entry, "slice_stats");
  append_figures(append_tree_group(slices, "slice_256"), figures.slice256_count,
                 figures.slice256_free, 0);
  if (ingress)
    append_figures(append_tree_group(slices, "slice_512"), 0, 0, 0);
  return OPEN_E_NONE;
}

int api_tcam_get_group_stats(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* stages = append_tree_group(tree.get(), "group_stats");
  tcam_figures_t figures = {};
  for (OPEN_TCAM_POLICY_STAGE_t stage :
       {OPEN_TCAM_POLICY_STAGE_INGRESS, OPEN_TCAM_POLICY_STAGE_EGRESS})
    OPEN_OR_ANSWER(conn, append_stage(client_handle, stages, stage, figures));
  return answer_data(conn, std::move(tree));
}
