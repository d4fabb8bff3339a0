/* A model plugin that does nothing; the build leaves entry points out. */
#include <tarvelperimond.h>

#ifdef NEEDED_DATA
extern int NEEDED_DATA;
int *needed_data = &NEEDED_DATA;
#endif

void
platform_init(ZolvBaseManager *manager)
{
    (void)manager;
}

void
platform_shutdown(ZolvBaseManager *manager)
{
    (void)manager;
}

void
uevent_handler(ZolvBaseManager *manager, const gchar *action, GUdevDevice *device)
{
    (void)manager;
    (void)action;
    (void)device;
}
