// A kernel driver that does nothing but exist: it can be installed, started, opened, stopped and unloaded.
// DRIVER_NAME, a narrow string literal, names its control device.
#include <ddk/wdm.h>

#define WIDEN_LITERAL(text) L##text
#define WIDEN(text) WIDEN_LITERAL(text)

static NTSTATUS NTAPI CompleteAtOnce(PDEVICE_OBJECT device, PIRP request) {
    UNREFERENCED_PARAMETER(device);
    request->IoStatus.Status = STATUS_SUCCESS;
    request->IoStatus.Information = 0;
    IoCompleteRequest(request, IO_NO_INCREMENT);
    return STATUS_SUCCESS;
}

static VOID NTAPI Unload(PDRIVER_OBJECT driver) {
    IoDeleteDevice(driver->DeviceObject);
}

NTSTATUS NTAPI DriverEntry(PDRIVER_OBJECT driver, PUNICODE_STRING registryPath) {
    UNICODE_STRING deviceName = RTL_CONSTANT_STRING(L"\\Device\\" WIDEN(DRIVER_NAME));
    PDEVICE_OBJECT device = NULL;

    UNREFERENCED_PARAMETER(registryPath);
    driver->DriverUnload = Unload;
    driver->MajorFunction[IRP_MJ_CREATE] = CompleteAtOnce;
    driver->MajorFunction[IRP_MJ_CLOSE] = CompleteAtOnce;
    return IoCreateDevice(driver, 0, &deviceName, FILE_DEVICE_UNKNOWN, FILE_DEVICE_SECURE_OPEN, FALSE,
                          &device);
}
