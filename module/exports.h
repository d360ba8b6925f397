/* The module's nine entry points, as a host loads them (plain C, undecorated names). */
#ifndef MICROSOFTAZURE_EXPORTS_H
#define MICROSOFTAZURE_EXPORTS_H

#include <stdbool.h>

#if defined(_WIN32)
#if defined(MICROSOFTAZURE_BUILD)
#define MICROSOFTAZURE_API __declspec(dllexport)
#else
#define MICROSOFTAZURE_API __declspec(dllimport)
#endif
#else
#define MICROSOFTAZURE_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Receives every message of the module: `data` points at `size` bytes of one JSON object.
   The module never calls it from two threads at once. */
typedef void (*host_message_callback)(void* host_context, void* host_context_extra, void* data,
                                      unsigned size);

MICROSOFTAZURE_API int InitializeModule(void* host_context, void* host_context_extra,
                                        host_message_callback callback);
MICROSOFTAZURE_API int CleanupModule(void);
MICROSOFTAZURE_API int GetApiLevel(void);
MICROSOFTAZURE_API void GetModuleInformation(bool load_languages);
MICROSOFTAZURE_API int CreateSensorInstance(int sensor_id, const void* settings,
                                            unsigned settings_size);
MICROSOFTAZURE_API int DestroySensorInstance(int sensor_id);
MICROSOFTAZURE_API int ExecuteCheck(int sensor_id, const void* settings, unsigned settings_size);
MICROSOFTAZURE_API int ExecuteMetaScan(int sensor_id, unsigned scan_id, const void* settings,
                                       unsigned settings_size);
MICROSOFTAZURE_API int ExecuteSensorScan(int sensor_id);

/* The same entry points as pointer types, for hosts that look them up at run time. */
typedef int (*InitializeModule_fn)(void*, void*, host_message_callback);
typedef int (*CleanupModule_fn)(void);
typedef int (*GetApiLevel_fn)(void);
typedef void (*GetModuleInformation_fn)(bool);
typedef int (*CreateSensorInstance_fn)(int, const void*, unsigned);
typedef int (*DestroySensorInstance_fn)(int);
typedef int (*ExecuteCheck_fn)(int, const void*, unsigned);
typedef int (*ExecuteMetaScan_fn)(int, unsigned, const void*, unsigned);
typedef int (*ExecuteSensorScan_fn)(int);

#ifdef __cplusplus
}
#endif

#endif
