#include "httpd/mg_mime.h"

#include <strings.h>

struct mime_type {
  const char* extension;
  size_t ext_len;
  const char* type;
};

static const mime_type static_builtin_mime_types[] = {
    {".html",    5, "text/html"                    },
    {".htm",     4, "text/html"                    },
    {".shtm",    5, "text/html"                    },
    {".shtml",   6, "text/html"                    },
    {".css",     4, "text/css"                     },
    {".js",      3, "application/x-javascript"     },
    {".ico",     4, "image/x-icon"                 },
    {".gif",     4, "image/gif"                    },
    {".jpg",     4, "image/jpeg"                   },
    {".jpeg",    5, "image/jpeg"                   },
    {".png",     4, "image/png"                    },
    {".svg",     4, "image/svg+xml"                },
    {".txt",     4, "text/plain"                   },
    {".torrent", 8, "application/x-bittorrent"     },
    {".wav",     4, "audio/x-wav"                  },
    {".mp3",     4, "audio/x-mp3"                  },
    {".mid",     4, "audio/mid"                    },
    {".m3u",     4, "audio/x-mpegurl"              },
    {".ogg",     4, "application/ogg"              },
    {".ram",     4, "audio/x-pn-realaudio"         },
    {".ra",      3, "audio/x-pn-realaudio"         },
    {".xml",     4, "text/xml"                     },
    {".json",    5, "application/json"             },
    {".xslt",    5, "application/xml"              },
    {".xsl",     4, "application/xml"              },
    {".doc",     4, "application/msword"           },
    {".exe",     4, "application/octet-stream"     },
    {".zip",     4, "application/x-zip-compressed" },
    {".xls",     4, "application/excel"            },
    {".tgz",     4, "application/x-tar-gz"         },
    {".tar",     4, "application/x-tar"            },
    {".gz",      3, "application/x-gunzip"         },
    {".arj",     4, "application/x-arj-compressed" },
    {".rar",     4, "application/x-rar-compressed" },
    {".rtf",     4, "application/rtf"              },
    {".pdf",     4, "application/pdf"              },
    {".swf",     4, "application/x-shockwave-flash"},
    {".mpg",     4, "video/mpeg"                   },
    {".mpeg",    5, "video/mpeg"                   },
    {".webm",    5, "video/webm"                   },
    {".mov",     4, "video/quicktime"              },
    {".mp4",     4, "video/mp4"                    },
    {".m4v",     4, "video/x-m4v"                  },
    {".asf",     4, "video/x-ms-asf"               },
    {".avi",     4, "video/x-msvideo"              },
    {".bmp",     4, "image/bmp"                    },
    {".ttf",     4, "application/x-font-ttf"       },
    {nullptr,    0, nullptr                        },
};

static bool ends_with(const char* path, size_t path_len, const char* extension, size_t ext_len)
{
  return path_len > ext_len && strncasecmp(path + path_len - ext_len, extension, ext_len) == 0;
}

mg_vec mg_mime_type(const connection* conn, const char* path)
{
  size_t path_len = strlen(path);
  const char* list = mg_option_value(conn->server, EXTRA_MIME_TYPES);
  mg_vec extension, type;
  while ((list = next_option(list, &extension, &type)) != nullptr)
    if (type.ptr && ends_with(path, path_len, extension.ptr, extension.len))
      return type;
  // These extensions have one dot each, their first letter.
  const char* dot = strrchr(path, '.');
  size_t ext_len = dot && dot > path ? strlen(dot) : 0;
  for (const mime_type* row = static_builtin_mime_types; row->extension; row++)
    if (row->ext_len == ext_len && strcasecmp(row->extension, dot) == 0)
      return {row->type, strlen(row->type)};
  return {"text/plain", strlen("text/plain")};
}
