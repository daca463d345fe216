import connectivity.norvane.com.test.WlanDutLib;

/**
 * Drives the native library through its JNI class on a real JVM. Prints one
 * line per check and a closing "N passed, N failed" line; exits non-zero when
 * a check fails.
 */
public class WlanDutLibTest {
    private static int passed = 0;
    private static int failed = 0;

    private static void check(String what, int expected, int actual) {
        if (expected == actual) {
            passed++;
            System.out.println("ok   " + what + " = " + actual);
        } else {
            failed++;
            System.out.println("FAIL " + what + ": expected " + expected + ", got " + actual);
        }
    }

    // A million calls, one in a thousand on a null reference; returns the
    // number of NullPointerExceptions caught.
    private static int npeLoop() {
        int caught = 0;
        String present = "x";
        for (int i = 0; i < 1000000; i++) {
            String s = (i % 1000 == 0) ? null : present;
            try {
                if (s.length() != 1) caught -= 1000000;
            } catch (NullPointerException e) {
                caught++;
            }
        }
        return caught;
    }

    public static void main(String[] args) {
        WlanDutLib lib = new WlanDutLib();

        // Remembered values before anything was asked; the gain and preamble
        // getters are crossed.
        check("getTxGain() fresh", 0, lib.getTxGain());
        check("getPreamble() fresh", 20, lib.getPreamble());
        check("getSelectChannel(0) fresh", 1, lib.getSelectChannel(0));
        check("getPayloadLength(0) fresh", 1024, lib.getPayloadLength(0));
        check("getBurstInterval() fresh", 100, lib.getBurstInterval());

        // Before the service is open a command fails with 6, yet the value
        // stays remembered.
        check("selectChannel(36) before openTestMode", 6, lib.selectChannel(36));
        check("getSelectChannel(0) after it", 36, lib.getSelectChannel(0));

        check("openTestMode()", 0, lib.openTestMode());
        check("openTestMode() again", 7, lib.openTestMode());

        check("setTxGain(17)", 0, lib.setTxGain(17));
        check("getPreamble() gives the gain", 17, lib.getPreamble());
        check("setPreamble(2)", 0, lib.setPreamble(2));
        check("getTxGain() gives the preamble", 2, lib.getTxGain());

        check("setBandwidth(2)", 0, lib.setBandwidth(2));
        check("selectBand(1) sends the bandwidth command", 0, lib.selectBand(1));
        check("getBandwidth() keeps the last setBandwidth", 2, lib.getBandwidth());
        check("selectAnt(2)", 0, lib.selectAnt(2));
        check("getSelectAnt()", 2, lib.getSelectAnt());
        check("setDataRate(47)", 0, lib.setDataRate(47));
        check("getDataRate()", 47, lib.getDataRate());

        // A frame read answers with the return code, not a count.
        check("getRxGoodFrame()", 0, lib.getRxGoodFrame());
        check("getRxErrorFrame()", 0, lib.getRxErrorFrame());

        // A whole test on the (simulated) chip: the firmware switch, a
        // transmission and a reception. The verdicts are in the replies,
        // which the facade keeps to itself; the simulator's log shows what
        // the firmware received.
        check("openDut()", 0, lib.openDut());
        check("selectChannel(6)", 0, lib.selectChannel(6));
        check("setBandwidth(1)", 0, lib.setBandwidth(1));
        check("setDataRate(4)", 0, lib.setDataRate(4));
        check("startTx()", 0, lib.startTx());
        check("stopTx()", 0, lib.stopTx());
        check("startRx()", 0, lib.startRx());
        check("getRxGoodFrame() after a receive", 0, lib.getRxGoodFrame());
        check("stopRx()", 0, lib.stopRx());
        check("closeDut()", 0, lib.closeDut());

        // The JVM turns SIGSEGV into NullPointerExceptions; after the
        // library's commands and stops that must still work, in a loop long
        // enough for the JVM's own signal-handler checks (-Xcheck:jni) to run.
        check("NullPointerExceptions caught after the commands", 1000, npeLoop());

        check("closeTestMode()", 0, lib.closeTestMode());
        check("closeTestMode() again", 6, lib.closeTestMode());
        check("NullPointerExceptions caught after closing", 1000, npeLoop());

        System.out.println(passed + " passed, " + failed + " failed");
        System.exit(failed == 0 ? 0 : 1);
    }
}
