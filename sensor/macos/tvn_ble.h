// The central on a Mac: the one object that talks to CoreBluetooth. Delegate of the central manager
// and of the strap's peripheral, on a serial queue of its own, "tvn.ble".
//
// Also compiled by the tests on Linux, with GNUstep and without ARC: hence the declared instance
// variables, and no subscripts.
#pragma once

#import <CoreBluetooth/CoreBluetooth.h>
#import <Foundation/Foundation.h>

@interface TVNBle : NSObject <CBCentralManagerDelegate, CBPeripheralDelegate> {
  CBCentralManager* _central;
  CBPeripheral* _peripheral;
  CBPeripheral* _leaving;
  NSMutableDictionary* _discovered;
  CBCharacteristic* _controlChar;
  NSString* _wantAddress;
  BOOL _poweredOn;
  BOOL _scanning;
  BOOL _ecgStarted;
  BOOL _stopPending;
}

@property(strong) CBCentralManager* central;
// The strap that is connected or being connected; nil without one.
@property(strong) CBPeripheral* peripheral;
// The strap whose connection the program itself is ending, until the system has told its end.
@property(strong) CBPeripheral* leaving;
// Named peripherals by identifier, seen since the last startScan. Only while synchronised on self.
@property(strong) NSMutableDictionary* discovered;
// The control point of the strap's measurements; nil until it is discovered.
@property(strong) CBCharacteristic* controlChar;
@property BOOL poweredOn;
@property BOOL scanning;
// Whether this connection was told to start the ECG.
@property BOOL ecgStarted;
// Whether the strap has yet to answer the command to stop.
@property BOOL stopPending;
// The identifier that was last asked for.
@property(copy) NSString* wantAddress;

// Forgets earlier sightings and a leftover peripheral, and looks for devices; nothing while the
// adapter is off. What the framework throws is logged.
- (void)startScan;
- (void)stopScan;
// A copy of `discovered`.
- (NSDictionary*)discoveredSnapshot;
// Connects to a device that was seen, or that the system knows. `identifier` is an upper-case UUID.
- (void)connectToAddress:(NSString*)identifier;
// Tells a connected strap to stop, ends the connection and forgets it.
- (void)disconnect;

@end
