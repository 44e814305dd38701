// Ids of commands, of the settings dialog and of what is in monitor.rc.
#pragma once

#define IDI_MONITOR 1
#define IDR_MENU 100
#define IDR_ACCELERATORS 101
#define IDD_SETTINGS 102

#define IDM_SAVE 1001
#define IDM_EXIT 1002
#define IDM_COPY 1003
#define IDM_SELECT_ALL 1004
#define IDM_FILTER 1005
#define IDM_CLEAR_LIST 1006
#define IDM_TRACES 1007
#define IDM_EVENTS 1008
#define IDM_HOLD 1009
#define IDM_ALL_PROGRAMS 1010
#define IDM_IDS 1011
#define IDM_READ_AGAIN 1012
#define IDM_WATCH_NEW 1013
#define IDM_WATCH_RUNNING 1014
#define IDM_REMOVE 1015
#define IDM_REMOVE_ALL 1016
#define IDM_GET 1017
#define IDM_SET 1018
#define IDM_CALL 1019
#define IDM_SETTINGS 1020
#define IDM_REFERENCE 1021
#define IDM_ABOUT 1022
#define IDM_NEXT_VIEW 1023
// And one for each column behind it.
#define IDM_SORT 1100

#define IDC_LEVEL 201
#define IDC_TO_LOG_FILE 202
#define IDC_TO_EVENT_LOG 203
#define IDC_TO_TRACE 204
#define IDC_CALL_STACK 205
#define IDC_SHOW_CODES 206
#define IDC_BREAK 207
#define IDC_LEVEL_ORIGIN 208
#define IDC_LOG_FILE 209
#define IDC_BROWSE 210
#define IDC_LOG_FILE_ORIGIN 211
#define IDC_ACTION 212
#define IDC_ACTION_ORIGIN 213
#define IDC_FOR_USER 214
#define IDC_FOR_ALL 215
#define IDC_MESSAGE 216
