#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform int drops;
uniform float size;
uniform vec4 glass;
uniform vec4 cool;
uniform vec4 hot;

// The field of all drops: its strength, and where it grows to.
vec3 field(vec2 p) {
  vec3 sum = vec3(0.0);
  for (int i = 0; i < drops; ++i) {
    float k = float(i);
    vec2 at = vec2(0.62 * sin(k * 2.4 + 0.3 * phase + sin(0.2 * phase + k)),
                   0.46 * sin(k * 1.7 + (0.3 + 0.1 * mod(k, 4.0)) * phase));
    vec2 off = p - at;
    float r = size * (0.09 + 0.05 * fract(k * 0.618));
    float part = r * r / (dot(off, off) + 0.002);
    sum += vec3(part, -part * off / (dot(off, off) + 0.002));
  }
  return sum;
}

void main() {
  vec2 p = (uv - 0.5) * vec2(float(width) / float(height), 1.0);
  vec3 f = field(p);
  float inside = smoothstep(0.95, 1.05, f.x);
  float heat = clamp(0.55 - p.y + 0.2 * sin(3.0 * p.x), 0.0, 1.0);
  vec3 wax = mix(cool.rgb, hot.rgb, heat);

  // A drop is round: bright where it looks up, dark at its rim.
  vec2 slope = normalize(f.yz + 1e-6);
  float rim = smoothstep(2.2, 0.9, f.x) * smoothstep(0.5, 4.0, length(f.yz));
  float light = dot(slope, normalize(vec2(-0.4, -0.9))) * rim;
  vec3 drop = wax * (0.8 + 0.35 * light) + 0.25 * rim * rim * hot.rgb * heat;
  drop += 0.2 * pow(max(light, 0.0), 4.0);

  vec3 back = glass.rgb * (0.45 + 0.75 * heat) + wax * 0.28 * smoothstep(0.15, 1.0, f.x);
  pixel = vec4(mix(back, drop, inside), 1.0);
}
