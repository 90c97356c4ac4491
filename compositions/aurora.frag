#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float brightness;
uniform vec4 low;
uniform vec4 high;
uniform vec4 night;

float scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * 0.1031);
  q += dot(q, q.yzx + 33.33);
  return fract((q.x + q.y) * q.z);
}

float noise(float x) {
  float whole = floor(x), part = x - whole;
  part = part * part * (3.0 - 2.0 * part);
  return mix(scrambled(vec2(whole, 7.0)), scrambled(vec2(whole + 1.0, 7.0)), part);
}

float stars(vec2 p) {
  vec2 cell = floor(p), place = fract(p) - 0.5;
  float dice = scrambled(cell);
  vec2 off = 0.6 * (vec2(scrambled(cell + 17.0), scrambled(cell + 31.0)) - 0.5);
  float twinkle = 0.7 + 0.3 * sin(phase * 2.0 + dice * 40.0);
  return step(0.86, dice) * twinkle * smoothstep(0.13, 0.0, length(place - off)) * (dice - 0.6) * 2.2;
}

// A curtain hangs from a winding line; its rays fade upwards.
vec3 curtain(vec2 p, float k) {
  float wind = 0.16 * sin(p.x * (1.3 + 0.3 * k) + 0.2 * phase + 2.1 * k) +
               0.06 * sin(p.x * 3.7 - 0.3 * phase + k) + 0.02 * sin(p.x * 9.0 + 0.5 * phase);
  float above = p.y - (0.36 + 0.11 * k + wind);
  float rays = 0.35 + 0.65 * noise(p.x * 26.0 + 4.0 * wind * 9.0 + 3.0 * sin(0.1 * phase + k));
  float drift = 0.45 + 0.55 * noise(p.x * 1.7 + k * 11.0 + 2.0 * sin(0.05 * phase + k));
  float tall = 0.16 + 0.22 * drift * rays;
  float light = smoothstep(-0.025, 0.012, above) * exp(-max(above, 0.0) / tall) * rays * drift;
  return light * mix(low.rgb, high.rgb, smoothstep(0.02, 0.42, above));
}

void main() {
  float aspect = float(width) / float(height);
  vec2 p = uv * vec2(aspect, 1.0);
  vec3 color = night.rgb * (0.35 + 0.9 * (1.0 - uv.y));
  color += stars(p * 34.0) * vec3(0.9, 0.95, 1.0);
  for (float k = 0.0; k < 3.0; ++k) color += brightness * (1.0 - 0.2 * k) * curtain(p, k);

  float far = 0.09 + 0.15 * noise(p.x * 2.9 + 1.0) + 0.03 * noise(p.x * 9.0) + 0.008 * noise(p.x * 37.0);
  float near = 0.03 + 0.12 * noise(p.x * 2.1 + 5.0) + 0.018 * noise(p.x * 61.0) * noise(p.x * 17.0);
  float edge = 1.0 / float(height);
  color = mix(color, night.rgb * 0.5 + 0.03 * low.rgb, smoothstep(far + edge, far - edge, uv.y));
  color = mix(color, night.rgb * 0.16, smoothstep(near + edge, near - edge, uv.y));
  pixel = vec4(color, 1.0);
}
