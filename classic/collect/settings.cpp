#include "classic/collect/settings.h"

int ThreadMonitoring = 0;
int FDMonitoring = 0;
int netdebug = 0;
int proc_io_file = 0;

double timediff = 0;
double time4mapping = 0;
double time4ip = 0;

int64_t g_boottime = 0;
int pagesize = 0;
int clocktick = 0;
