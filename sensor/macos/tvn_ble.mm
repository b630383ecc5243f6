#import "sensor/macos/tvn_ble.h"

#include <cstdint>
#include <span>
#include <string>

#include "sensor/adapter_state.h"
#include "sensor/callback_slot.h"
#include "sensor/link_texts.h"
#include "sensor/pmd.h"
#include "sensor/sensor_log.h"

namespace {

using tvn::AdapterState;
static_assert(static_cast<long>(CBManagerStateUnauthorized) ==
              static_cast<long>(AdapterState::unauthorized));
static_assert(static_cast<long>(CBManagerStatePoweredOff) ==
              static_cast<long>(AdapterState::powered_off));
static_assert(static_cast<long>(CBManagerStatePoweredOn) ==
              static_cast<long>(AdapterState::powered_on));

std::string text_of(NSString* text) {
  const char* bytes = text == nil ? nullptr : [text UTF8String];
  return bytes == nullptr ? "" : bytes;
}

// As "%@" writes an exception: its reason, or its name without one.
std::string text_of_exception(NSException* exception) {
  return text_of([exception reason] != nil ? [exception reason] : [exception name]);
}

tvn::StrapRole role_of(CBCharacteristic* characteristic) {
  return tvn::strap_role(text_of([[characteristic UUID] UUIDString]));
}

NSData* data_of(std::span<const std::uint8_t> bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

}  // namespace

@implementation TVNBle

@synthesize central = _central;
@synthesize peripheral = _peripheral;
@synthesize leaving = _leaving;
@synthesize discovered = _discovered;
@synthesize controlChar = _controlChar;
@synthesize poweredOn = _poweredOn;
@synthesize scanning = _scanning;
@synthesize ecgStarted = _ecgStarted;
@synthesize stopPending = _stopPending;
@synthesize wantAddress = _wantAddress;

- (instancetype)init {
  self = [super init];
  if (self == nil) return nil;
  self.discovered = [NSMutableDictionary dictionary];
  dispatch_queue_t queue = dispatch_queue_create("tvn.ble", DISPATCH_QUEUE_SERIAL);
  self.central = [[CBCentralManager alloc] initWithDelegate:self queue:queue];
  return self;
}

#pragma mark - What the driver asks for, on its threads

- (void)startScan {
  tvn::sensor_log(tvn::start_scan_line(self.poweredOn, [self.central isScanning]));
  if (!self.poweredOn) return;
  [self cancelLeftover];
  @synchronized(self) {
    [self.discovered removeAllObjects];
  }
  self.scanning = YES;
  NSDictionary* options =
      [NSDictionary dictionaryWithObject:[NSNumber numberWithBool:NO]
                                  forKey:CBCentralManagerScanOptionAllowDuplicatesKey];
  @try {
    // Of any service: a strap does not advertise the one that its measurements belong to.
    [self.central scanForPeripheralsWithServices:nil options:options];
  } @catch (NSException* exception) {
    tvn::sensor_log(tvn::start_scan_exception_line(text_of_exception(exception)));
  }
}

- (void)cancelLeftover {
  CBPeripheral* leftover = self.peripheral;
  if (leftover == nil) return;
  tvn::sensor_log(tvn::k_log_leftover);
  self.leaving = leftover;
  @try {
    [self.central cancelPeripheralConnection:leftover];
  } @catch (NSException* exception) {
    // It is forgotten all the same.
  }
  self.peripheral = nil;
  self.controlChar = nil;
}

- (void)stopScan {
  self.scanning = NO;
  [self.central stopScan];
}

- (NSDictionary*)discoveredSnapshot {
  @synchronized(self) {
    return [NSDictionary dictionaryWithDictionary:self.discovered];
  }
}

- (CBPeripheral*)findPeripheral:(NSString*)identifier {
  @synchronized(self) {
    CBPeripheral* seen = [self.discovered objectForKey:identifier];
    if (seen != nil) return seen;
  }
  NSUUID* uuid = [[NSUUID alloc] initWithUUIDString:identifier];
  if (uuid == nil) return nil;
  NSArray* known = [self.central retrievePeripheralsWithIdentifiers:[NSArray arrayWithObject:uuid]];
  return [known count] == 0 ? nil : [known objectAtIndex:0];
}

- (void)connectToAddress:(NSString*)identifier {
  tvn::sensor_log(tvn::connect_line(text_of(identifier)));
  self.wantAddress = identifier;
  CBPeripheral* found = [self findPeripheral:identifier];
  if (found == nil) {
    tvn::report_status(tvn::k_status_not_found);
    return;
  }
  self.peripheral = found;
  [found setDelegate:self];
  self.ecgStarted = NO;
  tvn::report_status(tvn::k_status_connecting);
  [self.central connectPeripheral:found options:nil];
}

- (void)disconnect {
  CBPeripheral* strap = self.peripheral;
  CBCharacteristic* control = self.controlChar;
  if (strap != nil) self.leaving = strap;
  // Forgotten first: whatever the framework throws, the next run does not find this one's strap.
  self.peripheral = nil;
  self.controlChar = nil;
  self.ecgStarted = NO;
  @try {
    if (strap != nil && control != nil && [strap state] == CBPeripheralStateConnected) {
      self.stopPending = YES;
      [strap writeValue:data_of(tvn::k_stop_ecg)
          forCharacteristic:control
                       type:CBCharacteristicWriteWithResponse];
    }
  } @catch (NSException* exception) {
    self.stopPending = NO;
    @throw;
  } @finally {
    if (strap != nil) [self.central cancelPeripheralConnection:strap];
  }
}

#pragma mark - What the central manager tells, on the queue

- (void)centralManagerDidUpdateState:(CBCentralManager*)central {
  const auto state = static_cast<AdapterState>([central state]);
  self.poweredOn = state == AdapterState::powered_on;
  tvn::announce_adapter_state(state);
}

- (void)centralManager:(CBCentralManager*)central
    didDiscoverPeripheral:(CBPeripheral*)peripheral
        advertisementData:(NSDictionary*)advertisementData
                     RSSI:(NSNumber*)RSSI {
  if ([[peripheral name] length] == 0) return;
  @synchronized(self) {
    [self.discovered setObject:peripheral forKey:[[peripheral identifier] UUIDString]];
  }
}

- (void)centralManager:(CBCentralManager*)central didConnectPeripheral:(CBPeripheral*)peripheral {
  if (peripheral == self.leaving) {
    self.leaving = nil;
    self.stopPending = NO;
  }
  if (peripheral != self.peripheral) return;
  tvn::sensor_log(tvn::k_log_connected);
  tvn::report_status(tvn::k_status_connected);
  NSArray* services = [NSArray
      arrayWithObjects:[CBUUID UUIDWithString:[NSString stringWithUTF8String:tvn::k_pmd_service]],
                       [CBUUID UUIDWithString:[NSString
                                                  stringWithUTF8String:tvn::k_heart_rate_service]],
                       nil];
  [peripheral discoverServices:services];
}

- (void)centralManager:(CBCentralManager*)central
    didFailToConnectPeripheral:(CBPeripheral*)peripheral
                         error:(NSError*)error {
  if (peripheral != self.peripheral) return;
  tvn::report_status(tvn::connection_failed_text(text_of([error localizedDescription])));
}

- (void)centralManager:(CBCentralManager*)central
    didDisconnectPeripheral:(CBPeripheral*)peripheral
                      error:(NSError*)error {
  if (peripheral == self.leaving) {
    self.leaving = nil;
    self.stopPending = NO;
    if (self.peripheral != nil) return;  // a newer run has statuses of its own
  } else if (peripheral != self.peripheral) {
    return;
  }
  tvn::report_status(tvn::k_status_disconnected);
}

#pragma mark - What the strap tells, on the queue

// What a strap tells that was forgotten, or replaced by another, is for nobody; only what it
// refused is logged all the same.

- (void)peripheral:(CBPeripheral*)peripheral didDiscoverServices:(NSError*)error {
  if (peripheral != self.peripheral) return;
  for (CBService* service in [peripheral services]) {
    [peripheral discoverCharacteristics:nil forService:service];
  }
}

- (void)peripheral:(CBPeripheral*)peripheral
    didDiscoverCharacteristicsForService:(CBService*)service
                                   error:(NSError*)error {
  if (peripheral != self.peripheral) return;
  for (CBCharacteristic* characteristic in [service characteristics]) {
    const tvn::StrapRole role = role_of(characteristic);
    if (role != tvn::StrapRole::data && role != tvn::StrapRole::heart_rate) continue;
    [peripheral setNotifyValue:YES forCharacteristic:characteristic];
  }
  // Last: without the strap's answers and the ECG subscribed to, a command is of no use.
  for (CBCharacteristic* characteristic in [service characteristics]) {
    if (role_of(characteristic) != tvn::StrapRole::control_point) continue;
    self.controlChar = characteristic;
    [peripheral setNotifyValue:YES forCharacteristic:characteristic];
    [peripheral writeValue:data_of(tvn::k_request_ecg_settings)
         forCharacteristic:characteristic
                      type:CBCharacteristicWriteWithResponse];
  }
}

- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateNotificationStateForCharacteristic:(CBCharacteristic*)characteristic
                                          error:(NSError*)error {
  if (error == nil) return;
  tvn::sensor_log(tvn::notify_refused_line(text_of([error localizedDescription])));
}

- (void)peripheral:(CBPeripheral*)peripheral
    didWriteValueForCharacteristic:(CBCharacteristic*)characteristic
                             error:(NSError*)error {
  if (role_of(characteristic) != tvn::StrapRole::control_point) return;
  if (peripheral == self.leaving) self.stopPending = NO;
  if (error != nil) {
    tvn::sensor_log(tvn::write_refused_line(text_of([error localizedDescription])));
  }
  // Whatever the answer was: the settings are known, and a strap that still streams from an
  // earlier run refuses nothing that matters.
  // The stop command of the last run may be answered when the next one has begun to connect to the
  // same strap: its control point is not known then.
  if (self.ecgStarted || peripheral != self.peripheral || self.controlChar == nil) return;
  self.ecgStarted = YES;
  [peripheral writeValue:data_of(tvn::k_start_ecg)
       forCharacteristic:characteristic
                    type:CBCharacteristicWriteWithResponse];
  tvn::report_status(tvn::k_status_streaming);
}

- (void)peripheral:(CBPeripheral*)peripheral
    didUpdateValueForCharacteristic:(CBCharacteristic*)characteristic
                              error:(NSError*)error {
  // Without a control point nothing was asked for: frames of the last run's link, on its way out.
  if (peripheral != self.peripheral || self.controlChar == nil) return;
  if (role_of(characteristic) != tvn::StrapRole::data) return;
  NSData* value = [characteristic value];
  const auto* bytes = static_cast<const std::uint8_t*>([value bytes]);
  tvn::hand_on_samples(tvn::decode_ecg_frame({bytes, static_cast<std::size_t>([value length])}));
}

@end
