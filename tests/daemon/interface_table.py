"""The bus interface as it was promised to clients, written down a second time by hand.

The interface description is checked against this table, never the other way round: a change here
is a change of the published contract. All properties are read-only.
"""

from typing import NamedTuple

READ, OPERATE, ADMIN = "read", "operate", "admin"


class Interface(NamedTuple):
    methods: dict = {}  # name: (tier, input arguments, output arguments)
    signals: dict = {}  # name: arguments
    properties: dict = {}  # name: signature


# An argument list is "name:signature" joined by blanks.
INTERFACES = {
    "com.tarvel.Perimond": Interface(
        properties={"Version": "s", "SerialNumber": "s", "ModelName": "s", "Security": "b"},
    ),
    "com.tarvel.Perimond.Obj": Interface(
        properties={"Name": "s", "PeripheralType": "s", "SysfsPath": "s"},
    ),
    "com.tarvel.Perimond.Obj.Button": Interface(
        methods={
            "GetAction": (READ, "", "action:s"),
            "SetAction": (OPERATE, "action:s", ""),
            "AddAction": (ADMIN, "actionName:s path:s", ""),
            "DeleteAction": (ADMIN, "actionName:s", ""),
            "ListAction": (READ, "", "ActionStruct:a(sbs)"),
        },
        signals={"actionChanged": "actionName:s"},
        properties={"Action": "s"},
    ),
    "com.tarvel.Perimond.Obj.Buzzer": Interface(
        methods={
            "SetState": (OPERATE, "state:u", ""),
            "GetState": (READ, "", "state:u"),
        },
        properties={"Device": "s", "DeviceType": "u", "GPIOPin": "i"},
    ),
    "com.tarvel.Perimond.Obj.CAN": Interface(
        methods={
            "GetBitrate": (READ, "", "bitrate:u"),
            "GetTerminator": (READ, "state:u", ""),
            "SetIOState": (ADMIN, "iostate:u", ""),
            "SetTerminator": (OPERATE, "state:u", ""),
        },
        properties={
            "DeviceName": "s",
            "MaximumSupportedBitrate": "u",
            "IOState": "u",
            "Terminator": "u",
        },
    ),
    "com.tarvel.Perimond.Obj.Cellular": Interface(
        methods={
            "SetPower": (OPERATE, "on:b", ""),
            "GetPower": (READ, "", "on:b"),
            "SetSimSlot": (OPERATE, "slot:u", ""),
            "GetSimSlot": (READ, "", "slot:u"),
        },
        properties={
            "Name": "s",
            "DeviceName": "s",
            "ATPort": "s",
            "QMIPort": "s",
            "GPSPort": "s",
            "DeviceDetected": "b",
            "Socket": "s",
            "NumberOfSimSlots": "u",
        },
    ),
    "com.tarvel.Perimond.Obj.Console": Interface(
        methods={"SetIOState": (ADMIN, "iostate:u", "")},
        properties={"Device": "s", "IOState": "u"},
    ),
    "com.tarvel.Perimond.Obj.DIO": Interface(
        methods={
            "SetEvent": (OPERATE, "event:u", ""),
            "SetState": (OPERATE, "state:u", ""),
            "SetDirection": (OPERATE, "direction:u", ""),
            "GetState": (READ, "", "state:u"),
            "GetDirection": (READ, "", "direction:u"),
            "Reload": (OPERATE, "", ""),
            "AddHook": (ADMIN, "hookName:s path:s", ""),
            "DeleteHook": (ADMIN, "hookName:s", ""),
            "ListHook": (READ, "", "hooksDict:a{ss}"),
            "SetHook": (OPERATE, "hookName:s", ""),
        },
        signals={"StateChanged": "state:u"},
        properties={
            "DeviceType": "u",
            "Event": "u",
            "Active": "u",
            "GPIOPin": "u",
            "Direction": "u",
            "DirectionConfigurable": "b",
            "HookName": "s",
        },
    ),
    "com.tarvel.Perimond.Obj.Disk": Interface(
        methods={
            "SetAutoMount": (ADMIN, "enable:b", ""),
            "SetIOState": (ADMIN, "iostate:u", ""),
        },
        signals={"hotPlug": "action:s deviceName:s"},
        properties={
            "Device": "s",
            "IsSystemDisk": "b",
            "NumberOfPartitions": "u",
            "Partitions": "as",
            "AutoMountSetting": "b",
            "IOState": "u",
        },
    ),
    "com.tarvel.Perimond.Obj.Ethernet": Interface(
        methods={"SetIOState": (ADMIN, "iostate:u", "")},
        properties={"DeviceName": "s", "IOState": "u"},
    ),
    "com.tarvel.Perimond.Obj.LED": Interface(
        methods={
            "SetState": (OPERATE, "state:u", ""),
            "GetState": (READ, "", "state:u"),
        },
        properties={"Label": "s", "Alias": "s"},
    ),
    "com.tarvel.Perimond.Obj.Partition": Interface(
        methods={
            "Mount": (OPERATE, "", ""),
            "Unmount": (OPERATE, "", ""),
            "GetUUID": (READ, "", "uuid:s"),
            "InitializeLUKS": (ADMIN, "passphrase:s", ""),
            "RemapLUKS": (ADMIN, "passphrase:s", ""),
        },
        properties={
            "Device": "s",
            "Disk": "s",
            "IsMounted": "b",
            "FilesystemType": "s",
            "MountPoint": "s",
            "MapperDevice": "s",
        },
    ),
    "com.tarvel.Perimond.Obj.SerialPort": Interface(
        methods={
            "SetInterface": (OPERATE, "interface:u", ""),
            "GetInterface": (READ, "", "interface:u"),
            "GetPullUpDown": (READ, "state:u", ""),
            "SetPullUpDown": (OPERATE, "state:u", ""),
            "GetTerminator": (READ, "state:u", ""),
            "SetTerminator": (OPERATE, "state:u", ""),
            "SetIOState": (ADMIN, "iostate:u", ""),
        },
        properties={
            "Device": "s",
            "OriginalDevice": "s",
            "SupportedInterfaces": "au",
            "SupportedBaudrates": "au",
            "IOState": "u",
            "PullUpDown": "u",
            "Terminator": "u",
            "SupportedDataBits": "au",
            "SupportedStopBits": "au",
            "SupportedParities": "au",
            "SupportedFlowControls": "au",
            "PullUpDownConfigurable": "b",
            "TerminatorConfigurable": "b",
        },
    ),
    "com.tarvel.Perimond.Obj.Socket": Interface(
        methods={
            "SetPower": (OPERATE, "on:b", ""),
            "GetPower": (READ, "", "on:b"),
            "SetSimSlot": (OPERATE, "slot:u", ""),
            "GetSimSlot": (READ, "", "slot:u"),
        },
        properties={"NumberOfSimSlots": "u", "Devices": "as"},
    ),
    "com.tarvel.Perimond.Obj.WiFi": Interface(
        methods={
            "SetPower": (OPERATE, "on:b", ""),
            "GetPower": (READ, "", "on:b"),
        },
        properties={"Name": "s", "DeviceName": "s", "DeviceDetected": "b", "Socket": "s"},
    ),
}
