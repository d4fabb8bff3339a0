#pragma once

#include <glib-object.h>
#include <gudev/gudev.h>
#include <span>
#include <string>

namespace zolv {

/* The buses on which a module can appear. */
enum class ModuleBus : unsigned char { usb, pci, sdio };

/* What is done about a device with certain identifiers. */
enum class ModuleKind : unsigned char {
    cellular,
    wifi,
    protection, /* a cellular module that has to be brought out of its protection mode */
    ignored,    /* belongs to a module or to the computer, and is nothing of its own */
};

/* Identifiers are compared as the kernel writes them: lower case, with 0x but for USB. */
struct ModuleRow {
    ModuleBus bus;
    const char *vendor;
    const char *product;
    ModuleKind kind;
    GType (*type)() = nullptr;
    const char *name = nullptr; /* for people; %s stands for the device's own product text */
};

extern const std::span<const ModuleRow> module_rows;

/* What a device says of itself; texts that it lacks are empty, and all are fit for the log. */
struct ModuleDevice {
    ModuleBus bus;
    std::string vendor;
    std::string product;
    std::string text;

    /* For the log. */
    const char *bus_name() const;
    std::string identifiers() const;
};

/* False for a device that is no module by its kind: a part of one, or one of another bus. */
bool read_module_device(GUdevDevice *device, ModuleDevice &read);

/* Null for one that is not known. */
const ModuleRow *find_module_row(const ModuleDevice &device);

std::string module_name(const ModuleRow &row, const ModuleDevice &device);

/* Whether a path is that of a device or of one below it. */
bool path_is_below(const char *path, const std::string &device_path);

} // namespace zolv
