// The "download" and "upload" module: transfers of images, configurations and scripts between the
// switch and a server. One runs at a time, inside the switch; only a script that is to be applied
// at once is waited for.
#pragma once

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int transfer_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_transfer_download_image(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_transfer_download_config(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_transfer_upload_config(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_transfer_download_script(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_transfer_upload_script(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_transfer_get_download_status(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn);
int api_transfer_get_upload_status(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_transfer_get_download_startupcfg_info(openapiClientHandle_t* client_handle,
                                              struct mg_connection* conn);
