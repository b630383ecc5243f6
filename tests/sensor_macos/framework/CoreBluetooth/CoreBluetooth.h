// Declarations of what the program calls of Apple's CoreBluetooth, written from its public
// documentation, so that the Mac's sources can be compiled and driven without a Mac. Names, types
// and values as documented; everything that is not called is left out.
#pragma once

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

@class CBCentralManager, CBPeripheral, CBService, CBCharacteristic;

typedef enum {
  CBManagerStateUnknown = 0,
  CBManagerStateResetting,
  CBManagerStateUnsupported,
  CBManagerStateUnauthorized,
  CBManagerStatePoweredOff,
  CBManagerStatePoweredOn,
} CBManagerState;

typedef enum {
  CBPeripheralStateDisconnected = 0,
  CBPeripheralStateConnecting,
  CBPeripheralStateConnected,
  CBPeripheralStateDisconnecting,
} CBPeripheralState;

typedef enum {
  CBCharacteristicWriteWithResponse = 0,
  CBCharacteristicWriteWithoutResponse,
} CBCharacteristicWriteType;

extern NSString* const CBCentralManagerScanOptionAllowDuplicatesKey;

@protocol CBCentralManagerDelegate <NSObject>
- (void)centralManagerDidUpdateState:(CBCentralManager*)central;
@optional
- (void)centralManager:(CBCentralManager*)central
    didDiscoverPeripheral:(CBPeripheral*)peripheral
        advertisementData:(NSDictionary*)advertisementData
                     RSSI:(NSNumber*)RSSI;
- (void)centralManager:(CBCentralManager*)central didConnectPeripheral:(CBPeripheral*)peripheral;
- (void)centralManager:(CBCentralManager*)central
    didFailToConnectPeripheral:(CBPeripheral*)peripheral
                         error:(NSError*)error;
- (void)centralManager:(CBCentralManager*)central
    didDisconnectPeripheral:(CBPeripheral*)peripheral
                      error:(NSError*)error;
@end

@protocol CBPeripheralDelegate <NSObject>
@optional
- (void)peripheral:(CBPeripheral*)peripheral didDiscoverServices:(NSError*)error;
- (void)peripheral:(CBPeripheral*)peripheral
    didDiscoverCharacteristicsForService:(CBService*)service
                                   error:(NSError*)error;
- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateNotificationStateForCharacteristic:(CBCharacteristic*)characteristic
                                          error:(NSError*)error;
- (void)peripheral:(CBPeripheral*)peripheral
    didWriteValueForCharacteristic:(CBCharacteristic*)characteristic
                             error:(NSError*)error;
- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateValueForCharacteristic:(CBCharacteristic*)characteristic
                              error:(NSError*)error;
@end

@interface CBUUID : NSObject {
  NSString* text_;
}
+ (CBUUID*)UUIDWithString:(NSString*)text;
- (NSString*)UUIDString;
@end

@interface CBCharacteristic : NSObject {
 @public
  CBUUID* uuid_;
  NSData* value_;
}
- (CBUUID*)UUID;
- (NSData*)value;
@end

@interface CBService : NSObject {
 @public
  CBUUID* uuid_;
  NSArray* characteristics_;
}
- (CBUUID*)UUID;
- (NSArray*)characteristics;
@end

@interface CBPeripheral : NSObject {
 @public
  NSUUID* identifier_;
  NSString* name_;
  id<CBPeripheralDelegate> delegate_;
  CBPeripheralState state_;
  NSArray* services_;
}
- (NSUUID*)identifier;
- (NSString*)name;
- (CBPeripheralState)state;
- (NSArray*)services;
- (void)setDelegate:(id<CBPeripheralDelegate>)delegate;
- (void)discoverServices:(NSArray*)uuids;
- (void)discoverCharacteristics:(NSArray*)uuids forService:(CBService*)service;
- (void)setNotifyValue:(BOOL)on forCharacteristic:(CBCharacteristic*)characteristic;
- (void)writeValue:(NSData*)data
    forCharacteristic:(CBCharacteristic*)characteristic
                 type:(CBCharacteristicWriteType)type;
@end

@interface CBCentralManager : NSObject {
 @public
  id<CBCentralManagerDelegate> delegate_;
  dispatch_queue_t queue_;
  BOOL scanning_;
}
- (instancetype)initWithDelegate:(id<CBCentralManagerDelegate>)delegate
                           queue:(dispatch_queue_t)queue;
- (CBManagerState)state;
- (BOOL)isScanning;
- (void)scanForPeripheralsWithServices:(NSArray*)services options:(NSDictionary*)options;
- (void)stopScan;
- (NSArray*)retrievePeripheralsWithIdentifiers:(NSArray*)identifiers;
- (void)connectPeripheral:(CBPeripheral*)peripheral options:(NSDictionary*)options;
- (void)cancelPeripheralConnection:(CBPeripheral*)peripheral;
@end
