// The help document: the reference of every API, compiled in from help/help_doc.txt, and its
// parser.
//
// The document is line oriented:
//
//   ===MODULE-START
//       module_name=vlans              letters and the digits 1 to 9, as in /help/vlans
//       module_desc=VLAN Configuration and Status
//   ==API-START
//       api_name=Get VLAN              these four in this order
//       api_desc=Show a VLAN.
//       api_uri=/vlans/{vlanId}
//       api_method=GET
//   =API-PARAM-START
//       param=vlanId@VLAN number.      name, "@", description
//   =API-PARAM-END
//   ==API-END
//   ===MODULE-END
//
// Marker lines stand alone, key lines begin with a blank or more, everything else is skipped. The
// texts go out in XML and HTML as they stand, so they hold no "<", ">" or "&", and at most 255
// characters each. The parser takes the lines after a start mark as they come: one that is not the
// key in turn is used up and leaves its node out. Closing marks other than =API-PARAM-END are for
// readers only.
#pragma once

#include "engine/rest_tree_obj.h"
#include "engine/rest_types.h"

// The built-in document.
extern const char restGlobalHelpDocText[];

// The text being read: the next line begins at now_p, and the text ends before end_p.
extern const char* now_p;
extern const char* end_p;

// Copies the next line of the text, its newline included, into out_line_buf, which is zero-filled
// to line_buf_size (1 or more) first; a longer line is cut. RC_FALSE when the text ends before a
// newline: a last line without one is never returned.
RC_t parse_help_doc_text_to_tree_obj_subfunc_get_new_line(char* out_line_buf, int line_buf_size);

// Parses the built-in document. The tree holds "modules" with one "module" each: module_name,
// module_desc and "apis" with one "api" each: api_name, api_desc, api_uri, api_method and
// "parameters" with one "param" each: param_name and param_desc. Entries are keyed "1", "2", ...
// The caller frees it; null when memory is short.
node_t* parse_help_doc_text_to_tree_obj(void);

// The same from the file REST_HELP_DOC_FILE, in lines of at most 255 characters. Logs a warning and
// returns null when it cannot be opened.
node_t* read_help_doc_file_and_parse_to_tree_obj(void);
