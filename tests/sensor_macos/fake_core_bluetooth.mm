// The framework's classes as far as the program uses them: every request is answered through the
// delegate, on the queue, in the order of the requests, as the documentation has it. Objects are
// made once per test and never given back.
#import <CoreBluetooth/CoreBluetooth.h>

#include <utility>

#include "tests/sensor_macos/fake_air.h"
#include "tests/sensor_macos/fake_queue.h"

NSString* const CBCentralManagerScanOptionAllowDuplicatesKey = @"AllowDuplicates";

namespace {

constexpr double k_advertising_seconds = 0.04;

struct Air {
  CBManagerState state = CBManagerStatePoweredOn;
  tvn::StrapBehaviour behaviour;
  std::string scan_exception;
  std::string stop_scan_exception;
  std::string connect_exception;
  std::string cancel_exception;
  std::string name_exception;
  double disconnect_seconds = 0.02;  // the system takes a moment over the end of a connection
  bool has_come = false;
  bool fails_without_a_reason = false;
  bool turns_off_at_stop_scan = false;
  int scans = 0;
  std::string later_name;
  bool is_known = false;
  CBPeripheral* strap = nil;
  CBPeripheral* nameless = nil;
  CBCentralManager* manager = nil;
  std::vector<std::string> written;
  std::vector<std::string> asked;
};
Air g_air;

NSString* text(const std::string& utf8) {
  return [[NSString alloc] initWithUTF8String:utf8.c_str()];
}

NSError* error_with(const std::string& message) {
  if (message.empty()) return nil;
  NSDictionary* info = [NSDictionary dictionaryWithObject:text(message)
                                                   forKey:NSLocalizedDescriptionKey];
  return [[NSError alloc] initWithDomain:@"CBErrorDomain" code:14 userInfo:info];
}

void throw_if(const std::string& reason) {
  if (!reason.empty()) {
    @throw [NSException exceptionWithName:NSInvalidArgumentException
                                   reason:text(reason)
                                 userInfo:nil];
  }
}

std::string hex_of(NSData* data) {
  constexpr const char* k_digits = "0123456789ABCDEF";
  const auto* bytes = static_cast<const unsigned char*>([data bytes]);
  std::string result;
  for (NSUInteger i = 0; i < [data length]; ++i) {
    result += k_digits[bytes[i] >> 4];
    result += k_digits[bytes[i] & 15];
  }
  return result;
}

CBCharacteristic* make_characteristic(NSString* uuid) {
  CBCharacteristic* made = [[CBCharacteristic alloc] init];
  made->uuid_ = [CBUUID UUIDWithString:uuid];
  return made;
}

CBService* make_service(NSString* uuid, NSArray* characteristics) {
  CBService* made = [[CBService alloc] init];
  made->uuid_ = [CBUUID UUIDWithString:uuid];
  made->characteristics_ = [characteristics retain];
  return made;
}

CBPeripheral* make_peripheral(NSString* uuid, NSString* name) {
  CBPeripheral* made = [[CBPeripheral alloc] init];
  made->identifier_ = [[NSUUID alloc] initWithUUIDString:uuid];
  made->name_ = name;
  return made;
}

// As the strap has them: the control point comes before the data.
NSArray* strap_services(bool has_measurements) {
  CBService* heart_rate =
      make_service(@"180D", [NSArray arrayWithObjects:make_characteristic(@"2A37"), nil]);
  CBService* measurements = make_service(
      @"FB005C80-02E7-F387-1CAD-8ACD2D8DF0C8",
      [NSArray arrayWithObjects:make_characteristic(@"FB005C81-02E7-F387-1CAD-8ACD2D8DF0C8"),
                                make_characteristic(@"FB005C82-02E7-F387-1CAD-8ACD2D8DF0C8"), nil]);
  return has_measurements ? [NSArray arrayWithObjects:heart_rate, measurements, nil]
                          : [NSArray arrayWithObject:heart_rate];
}

tvn_fake_queue* queue() {
  return g_air.manager->queue_;
}

void end_link(CBPeripheral* peripheral) {
  if (peripheral->state_ == CBPeripheralStateDisconnected) return;
  peripheral->state_ = CBPeripheralStateDisconnected;
  [g_air.manager->delegate_ centralManager:g_air.manager
                   didDisconnectPeripheral:peripheral
                                     error:nil];
}

}  // namespace

@implementation CBUUID
+ (CBUUID*)UUIDWithString:(NSString*)text {
  CBUUID* made = [[CBUUID alloc] init];
  made->text_ = [text copy];
  return made;
}
- (NSString*)UUIDString {
  return text_;
}
- (BOOL)isEqual:(id)other {
  return [[other UUIDString] isEqual:text_];
}
- (NSUInteger)hash {
  return [text_ hash];
}
@end

@implementation CBCharacteristic
- (CBUUID*)UUID {
  return uuid_;
}
- (NSData*)value {
  return value_;
}
@end

@implementation CBService
- (CBUUID*)UUID {
  return uuid_;
}
- (NSArray*)characteristics {
  return characteristics_;
}
@end

@implementation CBPeripheral
- (NSUUID*)identifier {
  return identifier_;
}
- (NSString*)name {
  if (!queue()->is_current()) throw_if(g_air.name_exception);
  return name_;
}
- (CBPeripheralState)state {
  return state_;
}
- (NSArray*)services {
  return services_;
}
- (void)setDelegate:(id<CBPeripheralDelegate>)delegate {
  delegate_ = delegate;
}
- (void)discoverServices:(NSArray*)uuids {
  for (CBUUID* uuid in uuids) g_air.asked.push_back([[uuid UUIDString] UTF8String]);
  NSArray* wanted = [uuids retain];
  queue()->post([self, wanted] {
    NSMutableArray* found = [[NSMutableArray alloc] init];
    for (CBService* service in strap_services(g_air.behaviour.has_measurements)) {
      if ([wanted containsObject:[service UUID]]) [found addObject:service];
    }
    services_ = found;
    [delegate_ peripheral:self didDiscoverServices:nil];
  });
}
- (void)discoverCharacteristics:(NSArray*)uuids forService:(CBService*)service {
  queue()->post([self, service] {
    [delegate_ peripheral:self didDiscoverCharacteristicsForService:service error:nil];
  });
}
- (void)setNotifyValue:(BOOL)on forCharacteristic:(CBCharacteristic*)characteristic {
  g_air.asked.push_back([[[characteristic UUID] UUIDString] UTF8String]);
  queue()->post([self, characteristic] {
    [delegate_ peripheral:self
        didUpdateNotificationStateForCharacteristic:characteristic
                                              error:error_with(g_air.behaviour.notify_error)];
  });
}
- (void)writeValue:(NSData*)data
    forCharacteristic:(CBCharacteristic*)characteristic
                 type:(CBCharacteristicWriteType)type {
  const std::string mark = type == CBCharacteristicWriteWithResponse ? "" : "?";
  const std::string bytes = mark + hex_of(data);
  queue()->post([self, characteristic, bytes] {
    g_air.written.push_back(bytes);
    [delegate_ peripheral:self
        didWriteValueForCharacteristic:characteristic
                                 error:error_with(g_air.behaviour.write_error)];
  });
}
@end

@implementation CBCentralManager
- (instancetype)initWithDelegate:(id<CBCentralManagerDelegate>)delegate
                           queue:(dispatch_queue_t)queue {
  self = [super init];
  delegate_ = delegate;
  queue_ = queue;
  g_air.manager = self;
  queue_->post([self] { [delegate_ centralManagerDidUpdateState:self]; });
  return self;
}
- (CBManagerState)state {
  return g_air.state;
}
- (BOOL)isScanning {
  return scanning_;
}
- (void)scanForPeripheralsWithServices:(NSArray*)services options:(NSDictionary*)options {
  throw_if(g_air.scan_exception);
  // A strap does not advertise the service of its measurements.
  const bool any_service = services == nil;
  const bool once =
      ![[options objectForKey:CBCentralManagerScanOptionAllowDuplicatesKey] boolValue];
  scanning_ = YES;
  ++g_air.scans;
  queue_->post(
      [self, any_service, once] {
        if (!g_air.has_come || !any_service || !once) return;
        for (CBPeripheral* device : {g_air.strap, g_air.nameless}) {
          if (device->state_ == CBPeripheralStateConnected) continue;
          [delegate_ centralManager:self
              didDiscoverPeripheral:device
                  advertisementData:[NSDictionary dictionary]
                               RSSI:[NSNumber numberWithInt:-58]];
        }
        if (g_air.later_name.empty()) return;
        [delegate_ centralManager:self
            didDiscoverPeripheral:make_peripheral(text(tvn::fake::k_strap_uuid),
                                                  text(g_air.later_name))
                advertisementData:[NSDictionary dictionary]
                             RSSI:[NSNumber numberWithInt:-58]];
      },
      k_advertising_seconds);
}
- (void)stopScan {
  throw_if(g_air.stop_scan_exception);
  scanning_ = NO;
  if (g_air.turns_off_at_stop_scan) tvn::fake::change_state(tvn::fake::ManagerState::powered_off);
}
- (NSArray*)retrievePeripheralsWithIdentifiers:(NSArray*)identifiers {
  if (!g_air.is_known || ![identifiers containsObject:g_air.strap->identifier_]) {
    return [NSArray array];
  }
  return [NSArray arrayWithObject:g_air.strap];
}
- (void)connectPeripheral:(CBPeripheral*)peripheral options:(NSDictionary*)options {
  throw_if(g_air.connect_exception);
  queue_->post([self, peripheral] {
    if (g_air.fails_without_a_reason || !g_air.behaviour.connect_error.empty()) {
      [delegate_ centralManager:self
          didFailToConnectPeripheral:peripheral
                               error:error_with(g_air.behaviour.connect_error)];
      return;
    }
    peripheral->state_ = CBPeripheralStateConnected;
    [delegate_ centralManager:self didConnectPeripheral:peripheral];
  });
}
- (void)cancelPeripheralConnection:(CBPeripheral*)peripheral {
  throw_if(g_air.cancel_exception);
  queue_->post([peripheral] { end_link(peripheral); }, g_air.disconnect_seconds);
}
@end

namespace tvn::fake {

void begin_air(ManagerState state, const StrapBehaviour& behaviour) {
  // What the last world still had to tell.
  if (g_air.manager != nil) queue()->run([] {});
  @autoreleasepool {
    g_air = Air{};
    g_air.state = static_cast<CBManagerState>(state);
    g_air.behaviour = behaviour;
    g_air.strap = make_peripheral(text(k_strap_uuid), @"Polar H10 12345678");
    g_air.nameless = make_peripheral(@"00000000-0000-4000-8000-000000000001", nil);
  }
}

void change_state(ManagerState state) {
  queue()->run([state] {
    if (state != ManagerState::powered_on) end_link(g_air.strap);
    g_air.state = static_cast<CBManagerState>(state);
    [g_air.manager->delegate_ centralManagerDidUpdateState:g_air.manager];
  });
}

void throw_at_scans(const std::string& reason) {
  queue()->run([&] { g_air.scan_exception = reason; });
}

void throw_at_stop_scan(const std::string& reason) {
  queue()->run([&] { g_air.stop_scan_exception = reason; });
}

void throw_at_connect(const std::string& reason) {
  queue()->run([&] { g_air.connect_exception = reason; });
}

void throw_at_cancel(const std::string& reason) {
  queue()->run([&] { g_air.cancel_exception = reason; });
}

void refuse_connections(const std::string& message) {
  queue()->run([&] { g_air.behaviour.connect_error = message; });
}

void refuse_connections_without_a_reason() {
  queue()->run([] { g_air.fails_without_a_reason = true; });
}

void turn_off_at_stop_scan() {
  queue()->run([] { g_air.turns_off_at_stop_scan = true; });
}

int scans_begun() {
  int scans = 0;
  queue()->run([&] { scans = g_air.scans; });
  return scans;
}

void end_connections_after(double seconds) {
  queue()->run([&] { g_air.disconnect_seconds = seconds; });
}

void throw_at_names(const std::string& reason) {
  queue()->run([&] { g_air.name_exception = reason; });
}

void tell_of_a_stranger() {
  queue()->run([] {
    CBCentralManager* manager = g_air.manager;
    CBPeripheral* stranger = g_air.nameless;
    CBPeripheral* strap = g_air.strap;
    stranger->delegate_ = strap->delegate_;
    stranger->services_ = [strap_services(true) retain];
    CBService* measurements = [stranger->services_ objectAtIndex:1];
    CBCharacteristic* control = [[measurements characteristics] objectAtIndex:0];
    CBCharacteristic* data = [[measurements characteristics] objectAtIndex:1];
    const unsigned char frame[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
    data->value_ = [[NSData alloc] initWithBytes:frame length:sizeof frame];
    [manager->delegate_ centralManager:manager didConnectPeripheral:stranger];
    [stranger->delegate_ peripheral:stranger didDiscoverServices:nil];
    [stranger->delegate_ peripheral:stranger
        didDiscoverCharacteristicsForService:measurements
                                       error:nil];
    [stranger->delegate_ peripheral:stranger didWriteValueForCharacteristic:control error:nil];
    [stranger->delegate_ peripheral:stranger didUpdateValueForCharacteristic:data error:nil];
    [manager->delegate_ centralManager:manager
            didFailToConnectPeripheral:stranger
                                 error:error_with("too far")];
    [manager->delegate_ centralManager:manager didDisconnectPeripheral:stranger error:nil];
  });
}

void hold_queue(double seconds) {
  queue()->post([] {}, seconds);
}

void bring_devices() {
  queue()->run([] { g_air.has_come = true; });
}

void take_devices_away() {
  queue()->run([] { g_air.has_come = false; });
}

void rename_strap_in_mid_scan(const std::string& name) {
  queue()->run([&] { g_air.later_name = name; });
}

void know_strap() {
  queue()->run([] { g_air.is_known = true; });
}

void drop_link() {
  queue()->run([] { end_link(g_air.strap); });
}

void send_value(const std::string& characteristic_uuid, const std::vector<std::uint8_t>& value) {
  queue()->run([&] {
    CBCharacteristic* characteristic = make_characteristic(text(characteristic_uuid));
    characteristic->value_ = [[NSData alloc] initWithBytes:value.data() length:value.size()];
    [g_air.strap->delegate_ peripheral:g_air.strap
        didUpdateValueForCharacteristic:characteristic
                                  error:nil];
  });
}

std::vector<std::string> written() {
  std::vector<std::string> result;
  queue()->run([&] { result = g_air.written; });
  return result;
}

std::vector<std::string> asked() {
  std::vector<std::string> result;
  queue()->run([&] { result = g_air.asked; });
  return result;
}

std::string queue_label() {
  return queue()->label;
}

}  // namespace tvn::fake
