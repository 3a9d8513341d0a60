#include "modules/rest_module_transfer.h"

#include <errno.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <limits>

#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "modules/rest_startupcfg.h"
#include "platform/openapi_script.h"
#include "platform/openapi_system.h"
#include "platform/openapi_transfer.h"

enum transfer_cfg_t {
  TRANSFER_CFG_STARTUP = 1,
  TRANSFER_CFG_BACKUP = 2,
  TRANSFER_CFG_FAC_DEF = 3,
  TRANSFER_CFG_RUNNING = 4,
  TRANSFER_CFG_BINARY = 5
};

static constexpr int TRANSFER_CFG_DOWNLOAD_MAX = TRANSFER_CFG_FAC_DEF;
static constexpr int TRANSFER_CFG_UPLOAD_MAX = TRANSFER_CFG_BINARY;

static constexpr size_t TRANSFER_FILE_SIZE = 256;
static constexpr size_t TRANSFER_STATUS_SIZE = 256;

static constexpr const char* transfer_cfg_files[] = {nullptr,          "startup-config",
                                                     "backup-config",  "factory-defaults",
                                                     "running-config", "tarvexia.cfg"};
static_assert(sizeof transfer_cfg_files / sizeof transfer_cfg_files[0] == TRANSFER_CFG_BINARY + 1,
              "one file for each number");

static constexpr char TRANSFER_STARTING[] = "File transfer is starting.";
static constexpr char TRANSFER_NOT_STARTED[] = "Failed to start a transfer.";

// Large enough for any URL and handed over whole, so what follows the text is zero.
struct transfer_url_t {
  char text[1024] = "";
};

static constexpr rest_route_t transfer_routes[] = {
    {REQUEST_METHOD_POST, "/download/image",          api_transfer_download_image              },
    {REQUEST_METHOD_POST, "/download/config",         api_transfer_download_config             },
    {REQUEST_METHOD_POST, "/upload/config",           api_transfer_upload_config               },
    {REQUEST_METHOD_POST, "/download/script",         api_transfer_download_script             },
    {REQUEST_METHOD_POST, "/upload/script",           api_transfer_upload_script               },
    {REQUEST_METHOD_GET,  "/download/status",         api_transfer_get_download_status         },
    {REQUEST_METHOD_GET,  "/upload/status",           api_transfer_get_upload_status           },
    {REQUEST_METHOD_GET,  "/download/startupCfgInfo", api_transfer_get_download_startupcfg_info},
};

int transfer_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, transfer_routes);
}

// --- Parameters ---

// False for an absent or empty value and for one that does not fit.
template <size_t N>
static bool param_text(const struct mg_connection* conn, const char* name, char (&text)[N])
{
  return rest_get_var(conn, name, text) > 0;
}

static bool param_yes_no(const struct mg_connection* conn, const char* name, bool& yes)
{
  char text[2];
  if (!param_text(conn, name, text))
    return false;
  yes = text[0] == 'y';
  return yes || text[0] == 'n';
}

static bool param_image(const struct mg_connection* conn, char (&image)[TRANSFER_FILE_SIZE])
{
  return param_text(conn, "img", image) &&
         (strcmp(image, "active") == 0 || strcmp(image, "backup") == 0);
}

// The number "cfg" from 1 to max, and the file that it stands for.
static bool param_cfg(const struct mg_connection* conn, int max, int32_t& cfg,
                      char (&file)[TRANSFER_FILE_SIZE])
{
  char text[4];
  if (!param_text(conn, "cfg", text) || check_string_is_number(text, &cfg) != RC_TRUE || cfg < 1 ||
      cfg > max)
    return false;
  snprintf(file, sizeof file, "%s", transfer_cfg_files[cfg]);
  return true;
}

// A time of the startup configuration, stored at once.
static bool param_time(const struct mg_connection* conn, const char* name,
                       RC_t (*set)(const char* time))
{
  char time[STARTUPCFG_TIME_SIZE];
  return param_text(conn, name, time) && set(time) == RC_TRUE;
}

// The decimal number at the start of "sn", as the switch's 32-bit C library reads an unsigned one.
static bool param_serial_number(const struct mg_connection* conn, uint32_t& sn)
{
  constexpr uint64_t SN_MAX = std::numeric_limits<uint32_t>::max();
  char text[256];
  char* end = text;
  if (!param_text(conn, "sn", text))
    return false;
  uint64_t number = strtoull(text, &end, 10);
  bool negative = memchr(text, '-', static_cast<size_t>(end - text)) != nullptr;
  uint64_t magnitude = negative ? 0 - number : number;
  sn = static_cast<uint32_t>(magnitude > SN_MAX ? SN_MAX : number);
  return end != text;
}

// --- Starting ---

// Starts a transfer of the named file; answers and returns false when it does not start.
static bool transfer_start(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                           decltype(rpcclt_openapiTransferFileDownload)* start, transfer_url_t& url,
                           char* file)
{
  open_buffdesc url_desc = rest_buffer_desc(url.text);
  open_buffdesc file_desc = rest_text_desc(file);
  switch (start(client_handle, &url_desc, &file_desc)) {
    case OPEN_E_NONE:
      return true;
    case OPEN_E_UNAVAIL:
      answer_failure(conn, 1, "Another Transfer is in Progress.");
      return false;
    case OPEN_E_ERROR:
      answer_failure(conn, 2, TRANSFER_NOT_STARTED);
      return false;
    default:
      answer_open_error(conn, OPEN_E_PARAM);
      return false;
  }
}

int api_transfer_download_image(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  transfer_url_t url;
  char image[TRANSFER_FILE_SIZE];
  bool restart = false;
  if (!param_text(conn, "url", url.text) || !param_image(conn, image) ||
      !param_yes_no(conn, "auto", restart))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (!transfer_start(client_handle, conn, rpcclt_openapiTransferFileDownload, url, image))
    return 0;
  if (restart)
    OPEN_OR_ANSWER(conn, rpcclt_openapiTransferCompletedRebootSet(client_handle));
  return answer_success(conn, TRANSFER_STARTING);
}

int api_transfer_download_config(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  transfer_url_t url;
  char file[TRANSFER_FILE_SIZE];
  int32_t cfg = 0;
  bool restart = false;
  if (!param_text(conn, "url", url.text) || !param_cfg(conn, TRANSFER_CFG_DOWNLOAD_MAX, cfg, file))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (cfg == TRANSFER_CFG_STARTUP &&
      (!param_time(conn, "cfgtime", set_startup_config_time) ||
       !param_time(conn, "updatetime", set_startup_config_update_time)))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (!param_yes_no(conn, "auto", restart))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (!transfer_start(client_handle, conn, rpcclt_openapiTransferFileDownload, url, file))
    return 0;
  if (restart)
    OPEN_OR_ANSWER(conn, rpcclt_openapiTransferCompletedRebootSet(client_handle));
  else
    set_startup_config_has_updated_flag(RC_TRUE);
  return answer_success(conn, TRANSFER_STARTING);
}

int api_transfer_upload_config(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  transfer_url_t url;
  char file[TRANSFER_FILE_SIZE];
  int32_t cfg = 0;
  uint32_t sn = 0;
  if (!param_text(conn, "url", url.text) || !param_cfg(conn, TRANSFER_CFG_UPLOAD_MAX, cfg, file) ||
      !param_serial_number(conn, sn))
    return answer_open_error(conn, OPEN_E_PARAM);
  set_startup_config_serial_number(sn);
  if (!transfer_start(client_handle, conn, rpcclt_openapiTransferFileUpload, url, file))
    return 0;
  return answer_success(conn, TRANSFER_STARTING);
}

// Waits for the transfer and applies the script that it brought.
static int script_apply(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                        char* script)
{
  OPEN_BOOL_t in_progress = OPEN_TRUE;
  while (in_progress == OPEN_TRUE)
    OPEN_OR_ANSWER(conn, rpcclt_openapiTransferInProgressGet(client_handle, &in_progress));
  uint32_t result = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiTransferResultCodeGet(client_handle, 0, &result));
  if (result != OPEN_TRANSFER_RESULT_SUCCESS)
    return answer_failure(conn, 2, TRANSFER_NOT_STARTED);
  open_buffdesc script_desc = rest_text_desc(script);
  OPEN_OR_ANSWER(conn, rpcclt_openapiTxtCfgValidateAndApply(client_handle, &script_desc));
  return answer_success(conn, "Script transfer and apply successfully.");
}

int api_transfer_download_script(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  transfer_url_t url;
  OPEN_CLI_SCRIPT_FILENAME_t script;
  bool apply = false;
  if (!param_text(conn, "url", url.text) || !param_text(conn, "scr", script) ||
      !param_yes_no(conn, "act", apply))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (!transfer_start(client_handle, conn, rpcclt_openapiTransferFileDownload, url, script))
    return 0;
  if (apply)
    return script_apply(client_handle, conn, script);
  return answer_success(conn, TRANSFER_STARTING);
}

int api_transfer_upload_script(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  transfer_url_t url;
  char script[TRANSFER_FILE_SIZE];
  if (!param_text(conn, "url", url.text) || !param_text(conn, "scr", script))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (!transfer_start(client_handle, conn, rpcclt_openapiTransferFileUpload, url, script))
    return 0;
  return answer_success(conn, TRANSFER_STARTING);
}

// --- Status ---

// Appends "status" and "progress" of the latest transfer.
static open_error_t transfer_status_append(
    openapiClientHandle_t* client_handle, node_t* information,
    decltype(rpcclt_openapiTransferDownloadStatusGet)* status_get)
{
  char status[TRANSFER_STATUS_SIZE + 1] = "";  // a text that fills its room has no terminator
  open_buffdesc status_desc = {TRANSFER_STATUS_SIZE, status};
  open_error_t result = status_get(client_handle, &status_desc);
  if (result != OPEN_E_NONE)
    return result;
  uint32_t percent = 0;
  result = rpcclt_openapiTransferProgressGet(client_handle, &percent);
  if (result != OPEN_E_NONE)
    return result;
  char progress[16];
  snprintf(progress, sizeof progress, "%d%%", static_cast<int>(percent));
  append_tree_field(information, "status", status);
  append_tree_field(information, "progress", progress);
  return OPEN_E_NONE;
}

int api_transfer_get_download_status(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* information = append_tree_group(tree.get(), "information");
  OPEN_OR_ANSWER(conn, transfer_status_append(client_handle, information,
                                              rpcclt_openapiTransferDownloadStatusGet));
  return answer_data(conn, std::move(tree));
}

int api_transfer_get_upload_status(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* information = append_tree_group(tree.get(), "information");
  OPEN_OR_ANSWER(conn, transfer_status_append(client_handle, information,
                                              rpcclt_openapiTransferUploadStatusGet));
  uint32_t sn = 0;
  if (get_startup_config_serial_number(&sn) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  char sn_text[16];
  snprintf(sn_text, sizeof sn_text, "%" PRIu32, sn);
  append_tree_field(information, "cfg_upload_sn", sn_text);
  return answer_data(conn, std::move(tree));
}

int api_transfer_get_download_startupcfg_info(openapiClientHandle_t* client_handle,
                                              struct mg_connection* conn)
{
  char cfg_time[STARTUPCFG_TIME_SIZE];
  char cfg_update[STARTUPCFG_TIME_SIZE];
  if (get_startup_config_time(cfg_time) != RC_TRUE ||
      get_startup_config_update_time(cfg_update) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_BOOL_t has_changed = OPEN_FALSE;
  OPEN_OR_ANSWER(conn, rpcclt_openapiSystemUnsavedConfigStatusGet(client_handle, &has_changed));
  RC_t has_updated = RC_FALSE;
  if (get_startup_config_has_updated_flag(&has_updated) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_PARAM);
  bool modified = has_updated == RC_TRUE || has_changed == OPEN_TRUE;

  tree_ptr tree(new_tree());
  node_t* information = append_tree_group(tree.get(), "information");
  append_tree_field(information, "cfg_time", cfg_time);
  append_tree_field(information, "cfg_update", cfg_update);
  append_tree_field(information, "cfg_modified", modified ? "yes" : "no");
  return answer_data(conn, std::move(tree));
}
