/* A station program in miniature, built against the installed package: it
 * opens the service, forwards commands to the (simulated) chip, closes the
 * service, and exits 0 only when every reply is the one expected. All three
 * C headers are included so that a header that is not installed or that a
 * C compiler cannot read fails the build. */
#include <bt_interface.h>
#include <stdio.h>
#include <string.h>
#include <wlan_interface.h>
#include <WiFiBtFactoryService.h>

static int Check(const char* command, const char* expected) {
    char result[WLBT_RESULT_BUFFER_SIZE] = "";
    const int rc = ForwardCMD_WiFiBT(command, result, 0);
    printf("%s -> rc %d \"%s\"\n", command, rc, result);
    if (rc != WLBT_OK || strcmp(result, expected) != 0) {
        fprintf(stderr, "FAIL %s: expected rc 0 \"%s\"\n", command, expected);
        return 1;
    }
    return 0;
}

int main(void) {
    if (OpenWiFiBtFactoryService() != WLBT_OK) {
        fprintf(stderr, "FAIL OpenWiFiBtFactoryService\n");
        return 1;
    }
    int failures = 0;
    failures += Check("AT+WIFIRF=0,0,0,36", "+WIFIRF:0,OK");
    failures += Check("AT+BTRF=1,1,1,0", "+BTRF:0,OK");
    /* The simulated controller's BD_ADDR, read through the HCI command. */
    failures += Check("AT+BTRF=1,8,2,0", "+BTRF:0,OK,001a7dda7113");
    failures += Check("AT+BTRF=1,1,0,0", "+BTRF:0,OK");
    if (CloseWiFiBtFactoryService() != WLBT_OK) {
        fprintf(stderr, "FAIL CloseWiFiBtFactoryService\n");
        failures++;
    }
    return failures == 0 ? 0 : 1;
}
