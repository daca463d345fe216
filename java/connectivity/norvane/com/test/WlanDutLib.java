package connectivity.norvane.com.test;

/**
 * WLAN side of the factory-test service for Java applications.
 *
 * Each method sends one fixed AT command through the native library and
 * returns the service's public return code, or hands back a remembered
 * parameter. Call the methods from one thread at a time.
 *
 * Known behaviour kept for compatibility: selectBand sends the bandwidth
 * command; getTxGain returns the remembered preamble and getPreamble the
 * remembered gain; getRxErrorFrame and getRxGoodFrame return the return
 * code, not a frame count; the getters return what was last passed in.
 */
public class WlanDutLib {
    static {
        System.loadLibrary("wlbtfactory");
    }

    public native int openTestMode();
    public native int closeTestMode();
    public native int openDut();
    public native int closeDut();

    public native int selectChannel(int n);
    public native int setDataRate(int n);
    public native int setPreamble(int n);
    public native int setTxGain(int n);
    public native int setPayloadLength(int n);
    public native int setBurstInterval(int n);
    public native int setBandwidth(int n);
    public native int selectBand(int n);
    public native int selectAnt(int n);

    public native int startTx();
    public native int stopTx();
    public native int startRx();
    public native int stopRx();
    public native int getRxErrorFrame();
    public native int getRxGoodFrame();

    public native int getSelectChannel(int unused);
    public native int getPayloadLength(int unused);
    public native int getBandwidth();
    public native int getSelectAnt();
    public native int getDataRate();
    public native int getBurstInterval();
    public native int getTxGain();
    public native int getPreamble();
}
